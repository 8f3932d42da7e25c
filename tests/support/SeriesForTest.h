#pragma once

// Owns what tests of stored series share: a directory of their own, files as bytes, records as text.

#include "TSFileStorage.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace Kiv::Testing
{

using Record = Interpolate::DataRecord;
using Records = std::vector<Record>;
/// Timestamp and number of a record of a numeric series.
using Sample = std::pair<qint64, double>;
using Samples = std::vector<Sample>;
using Texts = std::vector<std::string>;

inline constexpr int kNoSizeLimit = 1'000'000'000;

/// Milliseconds since the epoch of a calendar time in UTC.
qint64 utc(int year, int month = 1, int day = 1, int hour = 0, int minute = 0, int second = 0,
           int millisecond = 0);

/// A temporary directory that survives the removal of empty directories, which does not stop at a series.
class SeriesDirectory
{
public:
    SeriesDirectory();

    /// Base directory for a storage object, "/" at its end; nothing is created below it.
    QString base() const { return at(QStringLiteral("series/")); }
    QString at(const QString& below) const { return m_directory.path() + u'/' + below; }

private:
    QTemporaryDir m_directory;
};

/// Creates missing directories and replaces a file's content.
void writeFile(const QString& path, const QByteArray& bytes = {});
void appendToFile(const QString& path, const QByteArray& bytes);
QByteArray readFile(const QString& path);
/// The bytes of a file as hexadecimal digits.
std::string hexOf(const QString& path);
QByteArray fromHex(const char* digits);
/// The 13 bytes of a record of a double series in a year file, as hexadecimal digits.
std::string doubleRecordHex(qint64 offsetMs, double number);
void makeDirectory(const QString& path);
void makeFifo(const QString& path);
/// Regular files below a directory, relative, sorted.
Texts filesBelow(const QString& directory);

std::string textOf(const QVariant& value);
std::string textOf(const Record& record);
Texts textsOf(const Records& records);
Samples samplesOf(const Records& records);
Records recordsOf(const Samples& samples);

/// Records of one file as they lie there, read one by one through the operations on streams.
Records recordsOfFile(TSFileStorage& storage, const TSFileInfo& info);
/// Records of all files of a series in the order of a walk over it.
Records storedRecords(TSFileStorage& storage);
Samples storedSamples(TSFileStorage& storage);
Texts storedTexts(TSFileStorage& storage);

/// Raw read of a range, both ends inclusive.
Records readRaw(TSFileStorage& storage, qint64 start, qint64 end);

} // namespace Kiv::Testing
