#include "TextChart.h"

#include "BrailleCanvas.h"
#include "Errors.h"
#include "Terminal.h"
#include "TimeAxis.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Kiv::Cli
{

namespace
{

constexpr std::array<Style, 5> kColors = {Style::Cyan, Style::Yellow, Style::Green, Style::Red, Style::Blue};

class TextDrawing
{
public:
    TextDrawing(const Chart& chart, ChartSize size, LineMarks marks)
        : m_chart(chart),
          m_size(size),
          m_marks(marks),
          m_rowCount(plotRowCount()),
          m_values(chart.least, chart.greatest, std::max(2, m_rowCount / 2 + 1), chart.tickNumbers),
          m_labelWidth(valueLabelWidth()),
          m_columnCount(std::max(1, size.width - m_labelWidth - 1)),
          m_canvas(m_columnCount, m_rowCount)
    {
    }

    QByteArray draw()
    {
        for (std::size_t i = 0; i < m_chart.lines.size(); ++i)
            drawLine(static_cast<int>(i));
        putRow(styled(Stream::Output, Style::Bold, shortened(m_chart.title).toUtf8()));
        putRow(shortened(m_chart.note).toUtf8());
        putPlot();
        putTimeAxis();
        putLegend();
        return m_text;
    }

private:
    int plotRowCount() const
    {
        constexpr int kHeadRows = 2;
        constexpr int kTimeRows = 3;
        constexpr int kLeastRows = 3;
        const int legendRows = m_chart.hasLegend() ? static_cast<int>(m_chart.lines.size()) : 0;
        return std::max(kLeastRows, m_size.height - kHeadRows - kTimeRows - legendRows);
    }

    int valueLabelWidth() const
    {
        qsizetype width = 0;
        for (const ValueTick& tick : m_values.ticks())
            width = std::max(width, tick.label.size());
        return static_cast<int>(width) + 1;
    }

    QString shortened(const QString& text) const
    {
        const QString visible = escapedControls(text);
        return visible.size() <= m_size.width ? visible : visible.left(m_size.width - 1) + u'\u2026';
    }

    DotPattern patternOf(int line) const
    {
        return DotPattern(m_marks == LineMarks::Patterns ? line : line / static_cast<int>(kColors.size()));
    }

    QByteArray colored(int line, const QString& text) const
    {
        if (m_marks == LineMarks::Patterns || line < 0)
            return text.toUtf8();
        return styled(Stream::Output, kColors[static_cast<std::size_t>(line) % kColors.size()],
                      text.toUtf8());
    }

    int dotColumn(qint64 timestampMs) const
    {
        return static_cast<int>(std::lround(m_chart.shareOf(timestampMs) * (m_canvas.columnCount() - 1)));
    }

    int dotRow(double value) const
    {
        return static_cast<int>(std::lround((1.0 - m_values.fractionOf(value)) * (m_canvas.rowCount() - 1)));
    }

    void drawLine(int line)
    {
        DotPattern pattern = patternOf(line);
        for (const LinePiece& piece : m_chart.lines[static_cast<std::size_t>(line)].bins.pieces()) {
            // A lonely point must show, whatever the pattern.
            if (piece.size() == 1)
                m_canvas.setDot(dotColumn(piece[0].timestampMs), dotRow(piece[0].value), line);
            for (std::size_t i = 1; i < piece.size(); ++i)
                m_canvas.drawLine(dotColumn(piece[i - 1].timestampMs), dotRow(piece[i - 1].value),
                                  dotColumn(piece[i].timestampMs), dotRow(piece[i].value), pattern, line);
        }
    }

    void putRow(QByteArray row)
    {
        while (row.endsWith(' '))
            row.chop(1);
        m_text += row + '\n';
    }

    void putPlot()
    {
        for (int row = 0; row < m_rowCount; ++row) {
            QString label;
            for (const ValueTick& tick : m_values.ticks()) {
                if (dotRow(tick.value) / BrailleCanvas::kDotRows == row)
                    label = tick.label;
            }
            const QString edge = label.isEmpty() ? QStringLiteral("\u2502") : QStringLiteral("\u2524");
            putRow((label.rightJustified(m_labelWidth) + edge).toUtf8() + plotRow(row));
        }
    }

    /// Neighbours of one colour together.
    QByteArray plotRow(int row) const
    {
        QByteArray bytes;
        QString run;
        int runOwner = -1;
        for (int column = 0; column < m_columnCount; ++column) {
            const int owner = m_canvas.owner(column, row);
            if (owner != runOwner) {
                bytes += colored(runOwner, run);
                run.clear();
            }
            runOwner = owner;
            run += m_canvas.character(column, row);
        }
        return bytes + colored(runOwner, run);
    }

    /// Puts a text with its middle below a column of the plot, if there is room.
    /// \return whether it was put
    static bool placeText(QString& row, const QString& text, int middle)
    {
        const auto width = static_cast<int>(row.size());
        const int length = static_cast<int>(text.size());
        const int start = std::clamp(middle - length / 2, 0, std::max(0, width - length));
        for (int i = std::max(0, start - 1); i < std::min(width, start + length + 1); ++i) {
            if (row[i] != u' ')
                return false;
        }
        if (length > width)
            return false;
        row.replace(start, length, text);
        return true;
    }

    void putTimeAxis()
    {
        const std::vector<TimeTick> ticks =
            timeTicks(m_chart.fromMs, m_chart.toMs, m_chart.zone, m_columnCount);
        QString axis(m_columnCount, u'\u2500');
        QString labels(m_columnCount + m_labelWidth + 1, u' ');
        QString contexts = labels;
        // A day or year stands where it begins rather than at the start of the axis.
        for (auto tick = ticks.rbegin(); tick != ticks.rend(); ++tick) {
            const int column = dotColumn(tick->timestampMs) / BrailleCanvas::kDotColumns;
            axis[column] = u'\u252c';
            placeText(labels, tick->label, column + m_labelWidth + 1);
            if (!tick->context.isEmpty())
                placeText(contexts, tick->context, column + m_labelWidth + 1);
        }
        putRow((QString(m_labelWidth, u' ') + u'\u2514' + axis).toUtf8());
        putRow(labels.toUtf8());
        putRow(contexts.toUtf8());
    }

    void putLegend()
    {
        constexpr int kSampleColumns = 6;
        if (!m_chart.hasLegend())
            return;
        for (std::size_t i = 0; i < m_chart.lines.size(); ++i) {
            const int line = static_cast<int>(i);
            BrailleCanvas sample(kSampleColumns, 1);
            DotPattern pattern = patternOf(line);
            sample.drawLine(0, 2, sample.columnCount() - 1, 2, pattern, line);
            QString marks;
            for (int column = 0; column < kSampleColumns; ++column)
                marks += sample.character(column, 0);
            putRow(QByteArray(m_labelWidth + 1, ' ') + colored(line, marks) + ' ' +
                   shortened(m_chart.lines[i].name).toUtf8());
        }
    }

    const Chart& m_chart;
    ChartSize m_size;
    LineMarks m_marks;
    int m_rowCount;
    ValueAxis m_values;
    int m_labelWidth;
    int m_columnCount;
    BrailleCanvas m_canvas;
    QByteArray m_text;
};

} // namespace

QByteArray drawText(const Chart& chart, ChartSize size, LineMarks marks)
{
    return TextDrawing(chart, size, marks).draw();
}

} // namespace Kiv::Cli
