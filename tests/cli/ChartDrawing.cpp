// Charts from samples to dots and strokes.

#include "BrailleCanvas.h"
#include "LineBins.h"
#include "SvgChart.h"
#include "Terminal.h"
#include "TextChart.h"

#include <QXmlStreamReader>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace Kiv::Cli
{
namespace
{

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinite = std::numeric_limits<double>::infinity();

std::string picture(const BrailleCanvas& canvas, int rowCount, int columnCount)
{
    QString text;
    for (int row = 0; row < rowCount; ++row) {
        for (int column = 0; column < columnCount; ++column)
            text += canvas.character(column, row);
        text += u'\n';
    }
    return text.toStdString();
}

/// A chart of one line in one hour.
Chart chartOf(const std::vector<PlotPoint>& samples)
{
    constexpr qint64 kHourMs = 3'600'000;
    Chart chart;
    chart.title = QStringLiteral("plant");
    chart.note = QStringLiteral("times in UTC");
    chart.toMs = kHourMs;
    LineBins bins(0, kHourMs, 60, 0);
    for (const PlotPoint& sample : samples)
        bins.add(sample.timestampMs, sample.value);
    chart.least = bins.least().value_or(0);
    chart.greatest = bins.greatest().value_or(0);
    chart.lines.push_back({QStringLiteral("plant"), bins});
    return chart;
}

TEST(Canvas, NumbersTheDotsOfACharacterAsBrailleDoes)
{
    const char* const expected[] = {"\u2801", "\u2808", "\u2802", "\u2810",
                                    "\u2804", "\u2820", "\u2840", "\u2880"};
    for (int dot = 0; dot < 8; ++dot) {
        BrailleCanvas canvas(1, 1);
        canvas.setDot(dot % 2, dot / 2, 0);
        EXPECT_EQ(std::string(expected[dot]) + '\n', picture(canvas, 1, 1));
    }
}

TEST(Canvas, DrawsLinesFromDotToDot)
{
    BrailleCanvas canvas(2, 1);
    DotPattern solid(0);
    canvas.drawLine(0, 0, 3, 3, solid, 7);
    EXPECT_EQ("\u2811\u2884\n", picture(canvas, 1, 2));
    EXPECT_EQ(7, canvas.owner(0, 0));
}

TEST(Canvas, LeavesOutWhatLiesOutside)
{
    BrailleCanvas canvas(1, 1);
    canvas.setDot(-1, 0, 0);
    canvas.setDot(2, 0, 0);
    canvas.setDot(0, 4, 0);
    EXPECT_EQ(" \n", picture(canvas, 1, 1));
    EXPECT_EQ(-1, canvas.owner(0, 0));
}

TEST(Bins, KeepFewSamplesAsTheyAre)
{
    LineBins bins(0, 99, 10, 0);
    bins.add(5, 1);
    bins.add(6, 3);
    bins.add(7, 2);
    bins.add(50, 9);
    EXPECT_THAT(bins.pieces(), ElementsAre(LinePiece{{5, 1}, {6, 3}, {7, 2}, {50, 9}}));
}

TEST(Bins, KeepFirstLastLeastAndGreatestOfMany)
{
    LineBins bins(0, 999'999, 1, 0);
    for (qint64 i = 0; i < 1'000'000; ++i)
        bins.add(i, static_cast<double>(i * 7919 % 1'000'003));
    const LineBin& bin = bins.bins().front();
    EXPECT_EQ((PlotPoint{0, 0}), bin.first);
    EXPECT_EQ(999'999, bin.last.timestampMs);
    EXPECT_EQ(0, bin.least.value);
    EXPECT_NEAR(500'001, bin.mean, 5);
    EXPECT_LE(bins.pieces().front().size(), 4u);
    EXPECT_TRUE(bins.isDense());
}

TEST(Bins, BreakTheLineAtGapsThatAreTooLong)
{
    LineBins bins(0, 100, 101, 10);
    for (const qint64 ms : {0, 10, 21, 30})
        bins.add(ms, 1);
    EXPECT_THAT(bins.pieces(), ElementsAre(LinePiece{{0, 1}, {10, 1}}, LinePiece{{21, 1}, {30, 1}}));
}

TEST(Bins, BreakTheLineAtWhatIsNoFiniteNumber)
{
    LineBins bins(0, 100, 101, 0);
    bins.add(0, 1);
    bins.add(10, kNaN);
    bins.add(20, 2);
    bins.add(30, kInfinite);
    bins.add(40, 3);
    EXPECT_THAT(bins.pieces(), ElementsAre(LinePiece{{0, 1}}, LinePiece{{20, 2}}, LinePiece{{40, 3}}));
    EXPECT_EQ(1, bins.infiniteCount());
    EXPECT_EQ(3, bins.sampleCount());
}

TEST(Bins, WorkAtTheEndsOfTimeAndOfTheNumbers)
{
    constexpr qint64 kFirst = std::numeric_limits<qint64>::min();
    constexpr qint64 kLast = std::numeric_limits<qint64>::max();
    constexpr double kGreatest = std::numeric_limits<double>::max();
    LineBins bins(kFirst, kLast, 2, 1);
    bins.add(kFirst, -kGreatest);
    bins.add(kLast, kGreatest);
    EXPECT_EQ(2u, bins.pieces().size());
    LineBins one(0, 1, 1, 0);
    one.add(0, -kGreatest);
    one.add(1, kGreatest);
    EXPECT_TRUE(std::isfinite(one.bins().front().mean));
}

TEST(Bins, HaveNoExtremesWithoutSamples)
{
    const LineBins bins(0, 1, 4, 0);
    EXPECT_EQ(std::nullopt, bins.least());
    EXPECT_THAT(bins.pieces(), IsEmpty());
}

TEST(TextCharts, ShowALineBetweenItsAxes)
{
    const Chart chart = chartOf({{0, 0}, {1'800'000, 10}, {3'600'000, 0}});
    EXPECT_EQ("plant\n"
              "times in UTC\n"
              " 10┤           ⡠⠒⠑⠤⡀\n"
              "   │        ⣀⠔⠉    ⠈⠒⢄\n"
              "  5┤     ⢀⠤⠊          ⠉⠢⣀\n"
              "   │  ⢀⡠⠊⠁               ⠑⠤⡀\n"
              "  0┤⡠⠔⠁                    ⠈⠒⢄\n"
              "   └┬────────────┬───────────┬\n"
              "  00:00        00:30     01:00\n"
              "1970-01-01\n",
              drawText(chart, {30, 10}, LineMarks::Patterns).toStdString());
}

TEST(TextCharts, ShowASinglePoint)
{
    const QString text =
        QString::fromUtf8(drawText(chartOf({{1'800'000, 20}}), kLeastTextSize, LineMarks::Patterns));
    int dotCount = 0;
    for (const QChar character : text)
        dotCount += character >= QChar(0x2800) && character <= QChar(0x28ff) ? 1 : 0;
    EXPECT_EQ(1, dotCount);
}

TEST(TextCharts, KeepTheirSize)
{
    std::mt19937_64 random(1);
    for (int i = 0; i < 300; ++i) {
        std::vector<PlotPoint> samples;
        for (qint64 ms = 0; ms < 3'600'000; ms += 1 + static_cast<qint64>(random() % 600'000))
            samples.push_back({ms, std::ldexp(static_cast<double>(random() % 2000) - 1000,
                                              static_cast<int>(random() % 200) - 100)});
        const ChartSize size{30 + static_cast<int>(random() % 100), 10 + static_cast<int>(random() % 40)};
        const QString text = QString::fromUtf8(drawText(chartOf(samples), size, LineMarks::Patterns));
        const QStringList rows = text.split(u'\n');
        ASSERT_EQ(size.height + 1, rows.size()) << "the last row ends with a line end";
        for (const QString& row : rows)
            ASSERT_LE(textWidth(row), size.width) << row.toStdString();
    }
}

TEST(TextCharts, TellLinesApartInALegend)
{
    Chart chart = chartOf({{0, 0}, {3'600'000, 10}});
    chart.lines.push_back({QStringLiteral("other"), chart.lines.front().bins});
    const std::string text = drawText(chart, {40, 14}, LineMarks::Patterns).toStdString();
    EXPECT_THAT(text, HasSubstr("⠤⠤⠤⠤⠤⠤ plant\n"));
    EXPECT_THAT(text, HasSubstr("⠤⠤ ⠠⠤⠄ other\n"));
}

TEST(TextCharts, LeaveNoControlsInTexts)
{
    Chart chart = chartOf({{0, 0}});
    chart.title = QStringLiteral("a\x1b[2Jb");
    EXPECT_THAT(drawText(chart, {40, 14}, LineMarks::Patterns).toStdString(), HasSubstr("a\\x1b[2Jb"));
}

/// \return what is wrong with a file, empty when it is well-formed
QString xmlError(const QByteArray& xml)
{
    QXmlStreamReader reader(xml);
    while (!reader.atEnd())
        reader.readNext();
    return reader.errorString();
}

TEST(SvgCharts, AreWellFormedWhateverTheTexts)
{
    Chart chart = chartOf({{0, 0}, {1'800'000, 1e300}, {3'600'000, -1e300}});
    chart.title = QStringLiteral("<&\">'\x01");
    chart.note = chart.title;
    chart.lines.push_back({chart.title, chart.lines.front().bins});
    const QByteArray svg = drawSvg(chart, {900, 400});
    EXPECT_EQ("", xmlError(svg));
    EXPECT_THAT(svg.toStdString(), Not(HasSubstr("nan")));
    EXPECT_THAT(svg.toStdString(), Not(HasSubstr("inf")));
}

TEST(SvgCharts, DrawFewSamplesAsALineWithoutABand)
{
    const std::string svg = drawSvg(chartOf({{0, 0}, {3'600'000, 10}}), {900, 400}).toStdString();
    EXPECT_THAT(svg, HasSubstr("d=\"M38 354L884 58\""));
    EXPECT_THAT(svg, Not(HasSubstr("fill-opacity")));
}

TEST(SvgCharts, DrawDenseSamplesAsABandWithTheirMean)
{
    std::vector<PlotPoint> samples;
    for (qint64 ms = 0; ms <= 3'600'000; ms += 1000)
        samples.push_back({ms, ms % 2000 == 0 ? 0.0 : 10.0});
    const std::string svg = drawSvg(chartOf(samples), {900, 400}).toStdString();
    EXPECT_THAT(svg, HasSubstr("fill-opacity"));
    EXPECT_THAT(svg, HasSubstr("Z\""));
}

TEST(SvgCharts, ShowASinglePointAsADot)
{
    EXPECT_THAT(drawSvg(chartOf({{1'800'000, 20}}), {900, 400}).toStdString(), HasSubstr("h0\""));
}

} // namespace
} // namespace Kiv::Cli
