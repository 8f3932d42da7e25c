#include "ValueFiles.h"

#include "Errors.h"
#include "RawRange.h"

#include <QDataStream>
#include <QFile>
#include <QtEndian>

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kPositionSizeBytes = 4;

/// The bytes that the store writes for a value.
QByteArray storedBytes(const QVariant& value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_15);
    stream << value;
    return bytes;
}

/// The record whose value lies behind those of all others.
struct LastValue {
    qint64 offsetMs = 0;
    qint64 positionBytes = -1; ///< none
};

/// \param block  whole records
void lookForLastValue(const QByteArray& block, qint64 recordSizeBytes, LastValue& last)
{
    const qint64 offsetSizeBytes = recordSizeBytes - kPositionSizeBytes;
    for (qint64 start = 0; start + recordSizeBytes <= block.size(); start += recordSizeBytes) {
        const qint64 positionBytes = qFromBigEndian<qint32>(block.constData() + start + offsetSizeBytes);
        if (positionBytes <= last.positionBytes)
            continue;
        last = {0, positionBytes};
        for (qint64 i = 0; i < offsetSizeBytes; ++i)
            last.offsetMs = last.offsetMs << 8 | static_cast<quint8>(block[start + i]);
    }
}

LastValue findLastValue(const SeriesFile& file)
{
    constexpr qint64 kBlockRecordCount = 10'000;
    LastValue last;
    QFile records(file.place.filePath());
    if (!records.open(QIODevice::ReadOnly))
        throw CommandError(
            ExitCode::FileError,
            QStringLiteral("cannot read %1: %2").arg(records.fileName(), records.errorString()));
    for (;;) {
        const QByteArray block = records.read(kBlockRecordCount * file.recordSizeBytes);
        lookForLastValue(block, file.recordSizeBytes, last);
        if (block.size() < kBlockRecordCount * file.recordSizeBytes)
            return last;
    }
}

} // namespace

bool isLastValueReadable(const Series& series, const SeriesFile& file)
{
    const LastValue last = findLastValue(file);
    if (last.positionBytes < 0)
        return file.recordCount() == 0;
    // Asked first: the store waits for seconds for a file that is missing.
    if (last.positionBytes >= file.varSizeBytes.value_or(0))
        return false;
    Interpolate::DataRecord record;
    if (series.at(file.place.getBaseTsMs() + last.offsetMs, record) && record.value.isValid())
        return true;
    // A value that was stored as none reads like one that is damaged.
    const QByteArray none = storedBytes({});
    QFile values(file.place.filePath() + QStringLiteral(".var"));
    return values.open(QIODevice::ReadOnly) && values.seek(last.positionBytes) &&
           values.read(none.size()) == none;
}

std::vector<qint64> deadBytes(const Series& series, const SeriesFiles& files)
{
    std::vector<qint64> dead;
    for (const SeriesFile& file : files.records)
        dead.push_back(file.varSizeBytes.value_or(0));
    if (!isVariableLength(series.type))
        return dead;
    std::size_t i = 0;
    visitRaw(series, {}, {{kFirstRecord, true}, {kLastRecord, true}},
             [&](const Interpolate::DataRecord& record) {
                 while (i + 1 < files.records.size() &&
                        files.records[i + 1].place.getBaseTsMs() <= record.timestamp)
                     ++i;
                 if (i < dead.size())
                     dead[i] = std::max(qint64{0}, dead[i] - storedBytes(record.value).size());
                 return true;
             });
    return dead;
}

} // namespace Kiv::Cli
