#include "SvgChart.h"

#include "Errors.h"
#include "TimeAxis.h"

#include <algorithm>
#include <array>

namespace Kiv::Cli
{

namespace
{

// Colours that people with any kind of colour vision can tell apart.
constexpr std::array<const char*, 6> kColors = {"#0072b2", "#d55e00", "#009e73",
                                                "#cc79a7", "#56b4e9", "#e69f00"};
constexpr std::array<const char*, 4> kDashes = {"", "8 4", "2 4", "8 4 2 4"};

constexpr int kCharacterWidth = 7;
constexpr int kLineHeight = 18;
constexpr int kMargin = 16;
constexpr int kHeadHeight = 58;
constexpr int kTimeHeight = 46;

QByteArray number(double value)
{
    QByteArray text = QByteArray::number(value, 'f', 1);
    if (text.endsWith(".0"))
        text.chop(2);
    return text;
}

QByteArray escaped(const QString& text)
{
    return escapedControls(text).toHtmlEscaped().toUtf8();
}

class SvgDrawing
{
public:
    SvgDrawing(const Chart& chart, ChartSize size)
        : m_chart(chart),
          m_size(size),
          m_top(kHeadHeight),
          m_bottom(plotBottom()),
          m_values(chart.least, chart.greatest, std::max(2, (m_bottom - m_top) / 40), chart.tickNumbers),
          m_left(plotLeft()),
          m_right(size.width - kMargin)
    {
    }

    QByteArray draw()
    {
        putHead();
        putValueAxis();
        putTimeAxis();
        for (std::size_t i = 0; i < m_chart.lines.size(); ++i)
            putLine(i);
        putLegend();
        return m_svg + "</svg>\n";
    }

private:
    int plotBottom() const
    {
        constexpr int kLeastHeight = 20;
        const int legendHeight =
            m_chart.hasLegend() ? kLineHeight * static_cast<int>(m_chart.lines.size()) : 0;
        return std::max(m_top + kLeastHeight, m_size.height - kTimeHeight - legendHeight);
    }

    int plotLeft() const
    {
        qsizetype length = 0;
        for (const ValueTick& tick : m_values.ticks())
            length = std::max(length, tick.label.size());
        return kMargin + static_cast<int>(length) * kCharacterWidth + 8;
    }

    double x(qint64 timestampMs) const { return m_left + m_chart.shareOf(timestampMs) * (m_right - m_left); }

    double y(double value) const { return m_bottom - m_values.fractionOf(value) * (m_bottom - m_top); }

    QByteArray place(qint64 timestampMs, double value) const
    {
        return number(x(timestampMs)) + ' ' + number(y(value));
    }

    void putText(double left, double base, const char* attributes, const QString& text)
    {
        m_svg += "<text x=\"" + number(left) + "\" y=\"" + number(base) + "\" " + attributes + '>' +
                 escaped(text) + "</text>\n";
    }

    void putStroke(double fromX, double fromY, double toX, double toY, const char* color)
    {
        m_svg += "<path d=\"M" + number(fromX) + ' ' + number(fromY) + 'L' + number(toX) + ' ' + number(toY) +
                 "\" stroke=\"" + color + "\"/>\n";
    }

    void putHead()
    {
        // A height that the legend needs more of is not cut.
        const int legendHeight =
            m_chart.hasLegend() ? kLineHeight * static_cast<int>(m_chart.lines.size()) : 0;
        const QByteArray width = QByteArray::number(m_size.width);
        const QByteArray height =
            QByteArray::number(std::max(m_size.height, m_bottom + kTimeHeight + legendHeight));
        m_svg += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + width + "\" height=\"" + height +
                 "\" viewBox=\"0 0 " + width + ' ' + height +
                 "\" role=\"img\" font-family=\"sans-serif\" font-size=\"12\" fill=\"#333\">\n<title>" +
                 escaped(m_chart.title) + "</title>\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
        putText(kMargin, 22, "font-size=\"15\" font-weight=\"bold\"", m_chart.title);
        putText(kMargin, 40, "fill=\"#666\"", m_chart.note);
    }

    void putValueAxis()
    {
        constexpr double kHalfDigit = 4;
        for (const ValueTick& tick : m_values.ticks()) {
            putStroke(m_left, y(tick.value), m_right, y(tick.value), "#e4e4e4");
            putText(m_left - 8, y(tick.value) + kHalfDigit, "text-anchor=\"end\"", tick.label);
        }
        putStroke(m_left, m_top, m_left, m_bottom, "#999");
    }

    void putTimeAxis()
    {
        constexpr int kTickLength = 5;
        putStroke(m_left, m_bottom, m_right, m_bottom, "#999");
        const std::vector<TimeTick> ticks =
            timeTicks(m_chart.fromMs, m_chart.toMs, m_chart.zone, (m_right - m_left) / kCharacterWidth);
        // A day or year stands where it begins rather than at the start of the axis.
        double freeUntil = 2.0 * m_size.width;
        for (auto tick = ticks.rbegin(); tick != ticks.rend(); ++tick) {
            const double middle = x(tick->timestampMs);
            putStroke(middle, m_bottom, middle, m_bottom + kTickLength, "#999");
            putCentered(middle, m_bottom + 18, tick->label);
            const double halfWidth = static_cast<double>(tick->context.size() + 1) * kCharacterWidth / 2.0;
            if (tick->context.isEmpty() || middle + halfWidth > freeUntil)
                continue;
            putCentered(middle, m_bottom + 34, tick->context);
            freeUntil = middle - halfWidth;
        }
    }

    /// As near to the middle as the width of the picture allows.
    void putCentered(double middle, double base, const QString& text)
    {
        const double halfWidth = static_cast<double>(text.size()) * kCharacterWidth / 2.0;
        putText(std::min(middle, m_size.width - halfWidth), base, "text-anchor=\"middle\"", text);
    }

    QByteArray strokeOf(std::size_t line) const
    {
        QByteArray stroke = QByteArray("fill=\"none\" stroke=\"") + kColors[line % kColors.size()] +
                            "\" stroke-width=\"1.5\" stroke-linejoin=\"round\" stroke-linecap=\"round\"";
        const char* const dashes = kDashes[line / kColors.size() % kDashes.size()];
        if (*dashes != '\0')
            stroke += QByteArray(" stroke-dasharray=\"") + dashes + '"';
        return stroke;
    }

    void putLine(std::size_t line)
    {
        const LineBins& bins = m_chart.lines[line].bins;
        const std::vector<LinePiece> pieces = bins.isDense() ? means(bins) : bins.pieces();
        if (bins.isDense())
            putBand(line);
        if (pieces.empty())
            return;
        QByteArray path;
        for (const LinePiece& piece : pieces) {
            path += 'M' + place(piece.front().timestampMs, piece.front().value);
            // A stroke of no length is a dot, since its ends are round.
            if (piece.size() == 1)
                path += "h0";
            for (std::size_t i = 1; i < piece.size(); ++i)
                path += 'L' + place(piece[i].timestampMs, piece[i].value);
        }
        m_svg += "<path " + strokeOf(line) + " d=\"" + path + "\"/>\n";
    }

    static qint64 middleOf(const LineBin& bin)
    {
        return bin.first.timestampMs + (bin.last.timestampMs - bin.first.timestampMs) / 2;
    }

    static std::vector<LinePiece> means(const LineBins& bins)
    {
        std::vector<LinePiece> pieces;
        for (const LineBin& bin : bins.bins()) {
            if (bin.sampleCount == 0)
                continue;
            if (bin.startsPiece || pieces.empty())
                pieces.emplace_back();
            pieces.back().push_back({middleOf(bin), bin.mean});
        }
        return pieces;
    }

    /// There along the greatest values, back along the least ones, piece by piece.
    void putBand(std::size_t line)
    {
        QByteArray path;
        QByteArray there;
        QByteArray back;
        const auto close = [&] {
            if (!there.isEmpty())
                path += 'M' + there.mid(1) + back + 'Z';
            there.clear();
            back.clear();
        };
        for (const LineBin& bin : m_chart.lines[line].bins.bins()) {
            if (bin.sampleCount == 0)
                continue;
            if (bin.startsPiece)
                close();
            there += 'L' + place(middleOf(bin), bin.greatest.value);
            back.prepend('L' + place(middleOf(bin), bin.least.value));
        }
        close();
        m_svg += QByteArray("<path fill=\"") + kColors[line % kColors.size()] +
                 "\" fill-opacity=\"0.25\" d=\"" + path + "\"/>\n";
    }

    void putLegend()
    {
        constexpr int kSampleWidth = 28;
        if (!m_chart.hasLegend())
            return;
        for (std::size_t i = 0; i < m_chart.lines.size(); ++i) {
            const double base = m_bottom + kTimeHeight + kLineHeight * static_cast<double>(i) + 8;
            m_svg += "<path " + strokeOf(i) + " d=\"M" + number(m_left) + ' ' + number(base - 4) + 'h' +
                     QByteArray::number(kSampleWidth) + "\"/>\n";
            putText(m_left + kSampleWidth + 8, base, "", m_chart.lines[i].name);
        }
    }

    const Chart& m_chart;
    ChartSize m_size;
    int m_top;
    int m_bottom;
    ValueAxis m_values;
    int m_left;
    int m_right;
    QByteArray m_svg;
};

} // namespace

QByteArray drawSvg(const Chart& chart, ChartSize size)
{
    return SvgDrawing(chart, size).draw();
}

} // namespace Kiv::Cli
