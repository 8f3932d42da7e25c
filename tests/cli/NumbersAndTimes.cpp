// Numbers and timestamps from text and to text, held against Qt on random ones.

#include "TimeText.h"
#include "ValueText.h"

#include <QDateTime>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace Kiv::Cli
{
namespace
{

constexpr int kTexts = 200'000;

/// A text of 1 to 10 characters, most of them digits.
QByteArray randomText(std::mt19937_64& random, const std::string& alphabet)
{
    QByteArray text;
    for (std::size_t left = 1 + random() % 10; left > 0; --left) {
        const bool isDigit = random() % 3 != 0;
        text += isDigit ? static_cast<char>('0' + random() % 10) : alphabet[random() % alphabet.size()];
    }
    return text;
}

/// Numbers that fill the bits evenly, and such as people write.
double randomDouble(std::mt19937_64& random)
{
    switch (random() % 4) {
    case 0:
        return static_cast<double>(static_cast<qint64>(random()) >> (random() % 64));
    case 1:
        return static_cast<double>(static_cast<qint64>(random() % 2'000'001) - 1'000'000) / 1000;
    default:
        return std::bit_cast<double>(random());
    }
}

std::string numberWritten(double value)
{
    std::array<char, kMaxNumberLength> text;
    return {text.data(), writeNumber(value, text.data())};
}

std::string timeWritten(TimeWriter& writer, qint64 timestampMs)
{
    std::array<char, TimeWriter::kMaxLength> text;
    return {text.data(), writer.write(timestampMs, text.data())};
}

TEST(NumberWriting, GivesTheTextOfANumberAndReadsBackAsIt)
{
    std::mt19937_64 random(1);
    for (int i = 0; i < kTexts; ++i) {
        const double value = randomDouble(random);
        const std::string text = numberWritten(value);
        ASSERT_EQ(text, numberText(value).toStdString());
        double back = 0;
        ASSERT_TRUE(parseDouble(text, back).isEmpty()) << text;
        ASSERT_TRUE(std::isnan(value) ? std::isnan(back)
                                      : std::bit_cast<quint64>(back) == std::bit_cast<quint64>(value))
            << text;
    }
}

TEST(NumberReading, ReadsADoubleAsQtDoes)
{
    std::mt19937_64 random(2);
    for (int i = 0; i < kTexts; ++i) {
        const QByteArray text = randomText(random, "+-.e");
        double value = 0;
        bool isNumber = false;
        const double expected = text.toDouble(&isNumber);
        const QString problem = parseDouble(text, value);
        if (problem.startsWith(QLatin1String("is outside")))
            continue; // What Qt makes of these depends on the side on which they lie.
        ASSERT_EQ(problem.isEmpty(), isNumber) << text.toStdString();
        if (isNumber) {
            ASSERT_EQ(std::bit_cast<quint64>(value), std::bit_cast<quint64>(expected)) << text.toStdString();
        }
    }
}

TEST(NumberReading, ReadsAnIntegerOfEveryTypeAsQtDoesAndRefusesWhatTheTypeCannotHold)
{
    struct Range {
        const char* word;
        qint64 least;
        qint64 greatest;
    };
    constexpr std::array<Range, 7> kRanges = {
        {{"int", std::numeric_limits<qint32>::min(), std::numeric_limits<qint32>::max()},
         {"uint", 0, std::numeric_limits<quint32>::max()},
         {"int64", std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max()},
         {"int8", -128, 127},
         {"uint8", 0, 255},
         {"int16", -32768, 32767},
         {"uint16", 0, 65535}}};
    std::mt19937_64 random(3);
    for (int i = 0; i < kTexts; ++i) {
        const Range& range = kRanges[random() % kRanges.size()];
        const SeriesType& type = typeOfWord(QString(), QLatin1String(range.word));
        const QByteArray text = randomText(random, "+-");
        qint64 value = 0;
        bool isNumber = false;
        const qint64 expected = text.toLongLong(&isNumber);
        const bool fits = isNumber && expected >= range.least && expected <= range.greatest;
        // The sign of nothing is no number of an unsigned type.
        if (range.least == 0 && text.startsWith('-'))
            continue;
        ASSERT_EQ(parseInteger(type, text, value).isEmpty(), fits) << range.word << " " << text.toStdString();
        if (fits) {
            ASSERT_EQ(value, expected) << range.word << " " << text.toStdString();
        }
    }
}

TEST(NumberReading, ReadsUint64UpToItsEnds)
{
    const SeriesType& type = typeOfWord(QString(), QStringLiteral("uint64"));
    qint64 value = 0;
    EXPECT_TRUE(parseInteger(type, "18446744073709551615", value).isEmpty());
    EXPECT_EQ(static_cast<quint64>(value), std::numeric_limits<quint64>::max());
    EXPECT_EQ(parseInteger(type, "18446744073709551616", value),
              QStringLiteral("is outside 0 to 18446744073709551615"));
    EXPECT_EQ(parseInteger(type, "-1", value), QStringLiteral("is outside 0 to 18446744073709551615"));
    EXPECT_EQ(parseInteger(type, "", value), QStringLiteral("is empty"));
}

TEST(TimeWriting, GivesTheTextOfATimestampInAnyOrderOfDays)
{
    constexpr qint64 kMsPerDay = 86'400'000;
    std::mt19937_64 random(4);
    TimeWriter writer;
    qint64 timestampMs = 0;
    for (int i = 0; i < kTexts; ++i) {
        switch (random() % 8) {
        case 0: // Anywhere in the years that a series can hold.
            timestampMs = std::uniform_int_distribution<qint64>(kFirstTimestampMs, kLastTimestampMs)(random);
            break;
        case 1: // At the edge of a day.
            timestampMs += kMsPerDay - timestampMs % kMsPerDay - static_cast<qint64>(random() % 3);
            break;
        case 2: // Anywhere at all.
            timestampMs = static_cast<qint64>(random()) >> (random() % 30);
            break;
        default:
            timestampMs += static_cast<qint64>(random() % 20'000'000) - 10'000'000;
        }
        timestampMs = std::clamp<qint64>(timestampMs, -1'000'000'000'000'000, 1'000'000'000'000'000);
        const std::string text = timeWritten(writer, timestampMs);
        ASSERT_EQ(text, formatTime(timestampMs).toStdString());
        // Qt knows no year 0.
        constexpr qint64 kFirstOfYear1Ms = kFirstTimestampMs + 366 * kMsPerDay;
        if (isStorableTimestamp(timestampMs) && timestampMs >= kFirstOfYear1Ms) {
            const QDateTime time = QDateTime::fromMSecsSinceEpoch(timestampMs, QTimeZone::utc());
            ASSERT_EQ(text, time.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzzZ")).toStdString());
            ASSERT_EQ(parseTime(text), timestampMs);
        }
    }
}

TEST(TimeWriting, GivesTheTextOfTheEndsOfTime)
{
    TimeWriter writer;
    for (const qint64 timestampMs :
         {std::numeric_limits<qint64>::min(), kFirstTimestampMs - 1, kFirstTimestampMs, qint64{-1}, qint64{0},
          kLastTimestampMs, kLastTimestampMs + 1, std::numeric_limits<qint64>::max()})
        EXPECT_EQ(timeWritten(writer, timestampMs), formatTime(timestampMs).toStdString());
}

} // namespace
} // namespace Kiv::Cli
