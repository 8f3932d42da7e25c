#pragma once

// Owns the fixture of the tests of storage operations: a directory, a clock that stands, captured log lines.

#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace Kiv::Testing
{

inline constexpr qint64 kMinTimestamp = std::numeric_limits<qint64>::min();
inline constexpr qint64 kMaxTimestamp = std::numeric_limits<qint64>::max();
inline constexpr const char* kStorageSource = "src/TSFileStorage";

/// A start of a year in whose file most tests work, and its files of every series.
inline const qint64 kYear = utc(2024);
inline const QString kYearName = QStringLiteral("2024");

class StorageTest : public testing::Test
{
protected:
    SeriesDirectory directory;
    SeamsForTest seams;
    LogCapture log;

    TSFileStorage makeStorage(QMetaType::Type type = QMetaType::Double, int maxFileSize = kNoSizeLimit) const
    {
        return TSFileStorage(directory.base(), type, maxFileSize);
    }

    QString at(const char* below) const { return directory.base() + QString::fromUtf8(below); }

    /// Files of the series and its companions, relative to the base directory.
    Texts files() const { return filesBelow(directory.base()); }

    /// Log lines of a level.
    Texts lines(int level) const
    {
        Texts texts;
        for (const LogLine& line : log.lines) {
            if (line.level == level)
                texts.push_back(line.text.toStdString());
        }
        return texts;
    }

    /// Files that are opened while a function runs, relative to a directory.
    template <typename Function>
    static Texts openedBelow(const QString& parent, Function function)
    {
        Texts names;
        const auto real = Internal::seams().open;
        Internal::seams().open = [&](QFile& file, QIODevice::OpenMode mode) {
            names.push_back(file.fileName().mid(parent.size()).toStdString());
            return real(file, mode);
        };
        function();
        Internal::seams().open = real;
        return names;
    }

    /// The six lines of a file that does not open.
    static Texts attemptLines(const QString& modes, const QString& path)
    {
        Texts texts;
        for (int attempt = 1; attempt <= 6; ++attempt)
            texts.push_back(QStringLiteral("File open failed (%1) on '%2', attempt %3")
                                .arg(modes, path, QString::number(attempt))
                                .toStdString());
        return texts;
    }

    static std::string quoted(const char* before, const QString& path, const char* after)
    {
        return before + std::string("'") + path.toStdString() + "'" + after;
    }

    void expectLine(int level, const std::string& text, int line = 0) const
    {
        for (const LogLine& entry : log.lines) {
            if (entry.level != level || entry.text.toStdString() != text)
                continue;
            EXPECT_EQ(entry.source, kStorageSource);
            if (line != 0) {
                EXPECT_EQ(entry.line, line);
            }
            return;
        }
        ADD_FAILURE() << "no line of level " << level << ": " << text;
    }
};

/// Makes every opening of one path fail, in all modes or in those with a flag.
class UnopenableFile
{
public:
    explicit UnopenableFile(QString path, QIODevice::OpenMode modes = QIODevice::ReadWrite)
        : m_real(Internal::seams().open)
    {
        Internal::seams().open = [this, path = std::move(path), modes](QFile& file,
                                                                       QIODevice::OpenMode mode) {
            return (file.fileName() != path || !(mode & modes)) && m_real(file, mode);
        };
    }
    ~UnopenableFile() { Internal::seams().open = m_real; }
    UnopenableFile(const UnopenableFile&) = delete;
    UnopenableFile& operator=(const UnopenableFile&) = delete;

private:
    std::function<bool(QFile&, QIODevice::OpenMode)> m_real;
};

} // namespace Kiv::Testing
