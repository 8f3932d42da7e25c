#include "BenchRun.h"

#include "Errors.h"
#include "Interrupt.h"
#include "TimeBound.h"

#include "TSFileColumns.h"

#include <QDir>
#include <QElapsedTimer>

#include <algorithm>
#include <limits>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kStartMs = 1'704'067'200'000; // 2024-01-01
constexpr qint64 kStepMs = 1'000;
constexpr qint64 kJitterMs = 400; // below half a step: late samples go between
constexpr qint64 kBatchSize = 10'000;
constexpr qint64 kLateBatchSize = 100;
constexpr qint64 kMostLookups = 10'000;
constexpr int kReadCount = 3;
constexpr int kMaxFileSizeBytes = 1'000'000;
constexpr qint64 kValueBytes = 8;
constexpr int kWorkCount = 5;

/// A number that looks like chance and is the same on every run.
quint64 scattered(quint64 number)
{
    number += 0x9e3779b97f4a7c15U;
    number = (number ^ (number >> 30)) * 0xbf58476d1ce4e5b9U;
    number = (number ^ (number >> 27)) * 0x94d049bb133111ebU;
    return number ^ (number >> 31);
}

qint64 timestampOf(qint64 index)
{
    const auto jitter = static_cast<qint64>(scattered(static_cast<quint64>(index)) % kJitterMs);
    return kStartMs + index * kStepMs + jitter;
}

double valueOf(qint64 index)
{
    return static_cast<double>(scattered(static_cast<quint64>(~index)) % 100'000) / 1'000.0;
}

double secondsOf(const QElapsedTimer& timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e9;
}

/// Of several times the best: what else the machine did is not of interest.
template <typename Work>
double bestOf(const Work& work)
{
    double best = std::numeric_limits<double>::infinity();
    for (int i = 0; i < kReadCount; ++i)
        best = std::min(best, work());
    return best;
}

void addSample(TSFileColumns& columns, qint64 timestampMs, double value)
{
    columns.timestamps.push_back(timestampMs);
    columns.doubles.push_back(value);
}

} // namespace

/// Samples of one hour that come late, in time order.
struct BenchRun::LateBatch {
    TSFileColumns columns;
    FileStretch place; ///< in the file of the series
};

BenchRun::BenchRun(const QString& directory, qint64 sampleCount)
    : m_sampleCount(sampleCount),
      m_plainDirectory(directory + QStringLiteral("/plain")),
      m_storage(directory + QStringLiteral("/series"), QMetaType::Double, kMaxFileSizeBytes),
      m_progress(QStringLiteral("sample"), sampleCount * kWorkCount)
{
    if (!QDir().mkpath(m_plainDirectory))
        throw CommandError(ExitCode::FileError, QStringLiteral("cannot make %1").arg(m_plainDirectory));
}

qint64 BenchRun::spaceNeeded(qint64 sampleCount)
{
    // The series and its plain copy: each at most 13 bytes a sample, and what files leave unused of their last block.
    constexpr qint64 kBytesPerSample = 30;
    constexpr qint64 kSmallest = 8'000'000;
    return kSmallest + sampleCount * kBytesPerSample;
}

std::vector<BenchResult> BenchRun::run()
{
    std::vector<BenchResult> results;
    const auto add = [&](BenchResult result) {
        results.push_back(std::move(result));
        m_done = m_sampleCount * static_cast<qint64>(results.size());
        m_progress.update(m_done);
    };
    add(append());
    add(insertLate());
    add(scan());
    add(hourlyMean());
    add(lookUp());
    m_progress.clear();
    return results;
}

void BenchRun::write(const TSFileColumns& columns, double& seconds)
{
    throwIfInterrupted();
    QElapsedTimer timer;
    timer.start();
    const bool isWritten = m_storage.writeDataColumns(columns, false, false);
    seconds += secondsOf(timer);
    if (!isWritten)
        throw CommandError(ExitCode::FileError, QStringLiteral("cannot write to %1").arg(m_storage.m_path));
}

BenchResult BenchRun::append()
{
    BenchResult result{QStringLiteral("append"), QStringLiteral("write"), m_sampleCount};
    TSFileColumns columns;
    for (qint64 begin = 0; begin < m_sampleCount; begin += kBatchSize) {
        columns.clear();
        for (qint64 i = begin; i < std::min(begin + kBatchSize, m_sampleCount); ++i)
            addSample(columns, timestampOf(i), valueOf(i));
        write(columns, result.seconds);
        m_progress.update(m_done + begin);
    }
    std::vector<FileStretch> plain = filesBelow(m_storage.m_path);
    for (std::size_t i = 0; i < plain.size(); ++i) {
        const QString path = QStringLiteral("%1/%2").arg(m_plainDirectory).arg(i);
        m_plainPaths.insert(plain[i].path, path);
        plain[i].path = path;
    }
    result.limitSeconds = writePlainFiles(plain);
    return result;
}

/// Where records lie, as far as nothing was inserted before them.
FileStretch BenchRun::stretchAt(qint64 timestampMs, qint64 recordCount) const
{
    const TSFileInfo file = m_storage.findFile(timestampMs);
    const qint64 recordBytes = m_storage.getDataLengthForTimestampOffset(file.getDirDepth()) + kValueBytes;
    const qint64 firstMs = std::max(file.getBaseTsMs(), kStartMs);
    return {file.filePath(), (timestampMs - firstMs) / kStepMs * recordBytes, recordCount * recordBytes};
}

BenchRun::LateBatch BenchRun::makeLateBatch(quint64 number) const
{
    constexpr qint64 kHour = 3'600;
    const qint64 hourLength = std::min(kHour, m_sampleCount);
    const qint64 hourCount = m_sampleCount / hourLength;
    const auto hour = static_cast<qint64>(scattered(number << 32U) % static_cast<quint64>(hourCount));
    std::vector<qint64> indexes;
    for (quint64 i = 0; i < kLateBatchSize; ++i) {
        const quint64 random = scattered((number << 32U) + i + 1);
        indexes.push_back(hour * hourLength + static_cast<qint64>(random % static_cast<quint64>(hourLength)));
    }
    std::sort(indexes.begin(), indexes.end());
    indexes.erase(std::unique(indexes.begin(), indexes.end()), indexes.end());
    LateBatch batch;
    // A time of its own for each batch, so that nothing is overwritten as long as there are few of them.
    const auto shift = kJitterMs + 100 + static_cast<qint64>(number % kJitterMs);
    for (const qint64 index : indexes)
        addSample(batch.columns, kStartMs + index * kStepMs + shift, valueOf(-index));
    batch.place =
        stretchAt(batch.columns.timestamps.front(), static_cast<qint64>(batch.columns.timestamps.size()));
    return batch;
}

BenchResult BenchRun::insertLate()
{
    BenchResult result{QStringLiteral("late insert"), QStringLiteral("read and write of what moves")};
    const auto batchCount = static_cast<quint64>(std::max<qint64>(m_sampleCount / 100 / kLateBatchSize, 1));
    std::vector<FileStretch> plain;
    for (quint64 number = 0; number < batchCount; ++number) {
        LateBatch batch = makeLateBatch(number);
        write(batch.columns, result.seconds);
        result.count += static_cast<qint64>(batch.columns.timestamps.size());
        // A file that was split meanwhile has no copy; any other does.
        batch.place.path = m_plainPaths.value(batch.place.path, m_plainDirectory + QStringLiteral("/0"));
        plain.push_back(batch.place);
        m_progress.update(m_done + static_cast<qint64>(number) * kLateBatchSize);
    }
    result.limitSeconds = insertStretches(plain);
    return result;
}

double BenchRun::readAll(const Interpolate::InterpolateParam& param)
{
    return bestOf([&] {
        QElapsedTimer timer;
        timer.start();
        TSFileColumnReader reader(m_storage, param, {}, kFirstRecord, kLastRecord, false, 0);
        for (TSFileColumns block; reader.next(block);)
            throwIfInterrupted();
        return secondsOf(timer);
    });
}

BenchResult BenchRun::scan()
{
    BenchResult result{QStringLiteral("scan"), QStringLiteral("read"), m_sampleCount};
    result.seconds = readAll({});
    result.limitSeconds = bestOf([this] { return readPlainFiles(filesBelow(m_storage.m_path)); });
    return result;
}

BenchResult BenchRun::hourlyMean()
{
    BenchResult result{QStringLiteral("hourly mean"), QStringLiteral("read"), m_sampleCount};
    Interpolate::InterpolateParam param;
    param.method = QStringLiteral("meana");
    param.interval = 3'600;
    result.seconds = readAll(param);
    result.limitSeconds = bestOf([this] { return readPlainFiles(filesBelow(m_storage.m_path)); });
    return result;
}

BenchResult BenchRun::lookUp()
{
    BenchResult result{QStringLiteral("lookup"), QStringLiteral("pread"),
                       std::min(m_sampleCount, kMostLookups)};
    std::vector<qint64> timestamps;
    std::vector<FileStretch> stretches;
    for (qint64 i = 0; i < result.count; ++i) {
        const quint64 random = scattered(static_cast<quint64>(i) << 16U);
        timestamps.push_back(timestampOf(static_cast<qint64>(random % static_cast<quint64>(m_sampleCount))));
        stretches.push_back(stretchAt(timestamps.back(), 1));
    }
    result.seconds = bestOf([&] {
        QElapsedTimer timer;
        timer.start();
        for (const qint64 timestamp : timestamps) {
            throwIfInterrupted();
            Interpolate::DataRecord record;
            if (!m_storage.findDataRecord(timestamp, record))
                throw CommandError(ExitCode::BadData,
                                   QStringLiteral("a sample that was written is not there"));
        }
        return secondsOf(timer);
    });
    result.limitSeconds = bestOf([&stretches] { return readStretches(stretches); });
    return result;
}

} // namespace Kiv::Cli
