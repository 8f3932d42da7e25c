#include "support/FuzzInput.h"

#include "properties/EngineComparison.h"
#include "properties/StoragePair.h"

#include <QFileInfo>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace Kiv::Testing
{

namespace
{

void dropMessage(QtMsgType, const QMessageLogContext&, const QString&) {}

/// Filters use the host's zone, temporary directories are many, and damaged values make Qt print warnings.
void settleSurroundings()
{
    static const bool isDone = [] {
        qputenv("TZ", "UTC");
        tzset();
        const QFileInfo memory(QStringLiteral("/dev/shm"));
        if (memory.isDir() && memory.isWritable())
            qputenv("TMPDIR", "/dev/shm");
        qInstallMessageHandler(dropMessage);
        return true;
    }();
    Q_UNUSED(isDone)
}

} // namespace

FuzzInput::FuzzInput(const std::uint8_t* bytes, std::size_t sizeBytes)
    : m_bytes(reinterpret_cast<const char*>(bytes), static_cast<qsizetype>(sizeBytes))
{
    settleSurroundings();
}

QByteArray FuzzInput::takeLine()
{
    const qsizetype lineEnd = m_bytes.indexOf('\n', m_position);
    const qsizetype end = lineEnd < 0 ? m_bytes.size() : lineEnd;
    const QByteArray line = m_bytes.mid(m_position, end - m_position);
    m_position = std::min(end + 1, m_bytes.size());
    return line;
}

Dice FuzzInput::takeDice()
{
    return Dice(takeLine().toStdString());
}

QByteArray FuzzInput::takeRest()
{
    const QByteArray rest = m_bytes.mid(m_position);
    m_position = m_bytes.size();
    return rest;
}

void expectNone(const std::string& difference, const std::string& whatWasDone)
{
    if (difference.empty())
        return;
    std::fprintf(stderr, "%s\n\n%s\n", difference.c_str(), whatWasDone.c_str());
    std::abort();
}

void expectSameAsModel(const StorageCase& storageCase)
{
    const std::string difference = firstDifference(storageCase);
    if (!difference.empty())
        expectNone(difference, describe(storageCase));
}

void expectSameAsModel(const EngineCase& engineCase)
{
    const std::string difference = compareWithModel(engineCase).difference;
    if (!difference.empty())
        expectNone(difference, describe(engineCase));
}

qint64 timeNear(Dice& dice, const std::vector<qint64>& timesMs)
{
    // Dice that are used up throw zeros, which then mean the ordinary case.
    if (!dice.chance(90))
        return dice.between(-3, -1);
    const qint64 time = dice.pick(timesMs);
    return dice.chance(50) ? time : time + dice.between(-2, 2);
}

std::vector<StorageStep> questionsAndChanges(Dice& dice, QMetaType::Type type,
                                             const std::vector<qint64>& timesMs)
{
    using Kind = StorageStep::Kind;
    static const std::vector<Kind> kinds{Kind::First,
                                         Kind::Last,
                                         Kind::Read,
                                         Kind::Find,
                                         Kind::FindPrevious,
                                         Kind::Count,
                                         Kind::Read,
                                         Kind::Adjust,
                                         Kind::Write,
                                         Kind::Read,
                                         Kind::Delete,
                                         Kind::Write,
                                         Kind::DeleteEverywhere,
                                         Kind::Last};
    RandomBatch values(dice, type);
    std::vector<StorageStep> steps;
    for (const Kind kind : kinds) {
        if (!dice.chance(90))
            continue;
        StorageStep step;
        step.kind = kind;
        step.advanceUs = 1'000'000;
        step.noteLate = dice.chance(40);
        step.keepOverwritten = dice.chance(40);
        step.from = timeNear(dice, timesMs);
        step.to = timeNear(dice, timesMs);
        if (step.from > step.to && step.to >= 0 && dice.chance(80))
            std::swap(step.from, step.to);
        step.limit = dice.chance(20) ? static_cast<int>(dice.between(-1, 5)) : 0;
        for (qint64 i = kind == Kind::Write ? dice.between(1, 6) : 0; i > 0; --i)
            step.records.emplace_back(timeNear(dice, timesMs), values.value());
        steps.push_back(std::move(step));
    }
    return steps;
}

StorageStep placeFile(const QString& place, const QByteArray& bytes)
{
    StorageStep step;
    step.kind = StorageStep::Kind::PlaceFile;
    step.place = place;
    step.garbage = bytes;
    return step;
}

} // namespace Kiv::Testing
