// Names of series that come out of data.

#include "SeriesName.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace Kiv::Cli
{
namespace
{

TEST(SeriesNames, AreRelativePathsOfPlainParts)
{
    for (const char* const name : {"a", "hall/boiler 2/temp.", "größe", "V", "a..b", "~", "-"})
        EXPECT_EQ(problemOfSeriesName(QString::fromUtf8(name)).toStdString(), "") << name;
    for (const char* const name : {"", "/", "/a", ".", "..", "../a", "a/..", "a/../b", "a/./b", "a//b", "a/",
                                   ".a", "a\\b", "a\nb", "a\x7f"})
        EXPECT_NE(problemOfSeriesName(QString::fromUtf8(name)).toStdString(), "") << name;
    EXPECT_NE(problemOfSeriesName(QString(QChar(0))), QString());
    EXPECT_EQ(problemOfSeriesName(QString(255, u'a')), QString());
    EXPECT_NE(problemOfSeriesName(QString(128, u'ä')), QString()) << "256 bytes of UTF-8";
}

TEST(SeriesNames, KeepOutOfTheRecordsOfAnotherSeries)
{
    const QTemporaryDir directory;
    const auto makeSeries = [&directory](const QString& name) {
        QDir(directory.path()).mkpath(name);
        QFile sidecar(directory.filePath(name + QStringLiteral("/series.json")));
        ASSERT_TRUE(sidecar.open(QIODevice::WriteOnly));
    };
    makeSeries(QStringLiteral("plant"));
    makeSeries(QStringLiteral("rack/V"));
    const auto problemOf = [&directory](const char* name) {
        return problemOfSeriesPlace(directory.path(), QString::fromUtf8(name)).isEmpty() ? "" : "bad";
    };
    for (const char* const name : {"plant/D", "plant/DP", "plant/DO/x", "rack"})
        EXPECT_STREQ(problemOf(name), "bad") << name;
    for (const char* const name : {"D", "plant", "plant/x", "plant/x/D", "rack/I", "rack/V", "other"})
        EXPECT_STREQ(problemOf(name), "") << name;
}

} // namespace
} // namespace Kiv::Cli
