#include "properties/StorageCases.h"

#include <QDataStream>

#include <array>

namespace Kiv::Testing
{

namespace
{

using Kind = StorageStep::Kind;

/// What happens next, the likelier the more often it stands here.
const std::vector<Kind>& kindsOf(StorageCaseKind caseKind)
{
    static const std::vector<Kind> writing{Kind::Write};
    static const std::vector<Kind> queries{
        Kind::Write,        Kind::Write,  Kind::Write,  Kind::Write,  Kind::Write,
        Kind::Read,         Kind::Read,   Kind::Read,   Kind::Find,   Kind::FindPrevious,
        Kind::Count,        Kind::Count,  Kind::First,  Kind::Last,   Kind::Find,
        Kind::FindPrevious, Kind::Adjust, Kind::Delete, Kind::Delete, Kind::DeleteEverywhere};
    static const std::vector<Kind> oddFiles{
        Kind::Write,      Kind::Write,     Kind::Write,       Kind::Write,        Kind::Write,
        Kind::Read,       Kind::Read,      Kind::Find,        Kind::FindPrevious, Kind::Count,
        Kind::First,      Kind::Last,      Kind::Delete,      Kind::TearTail,     Kind::TearTail,
        Kind::EmptyFile,  Kind::DropVar,   Kind::TruncateVar, Kind::CorruptVar,   Kind::BlockVar,
        Kind::StrayEntry, Kind::StrayEntry};
    switch (caseKind) {
    case StorageCaseKind::Writing:
        return writing;
    case StorageCaseKind::Queries:
        return queries;
    default:
        return oddFiles;
    }
}

qint64 advanceUs(Dice& dice)
{
    const std::array<qint64, 7> steps{0, 400, 300'000, 1'000'000, 7'000'000, 5'000'000'000, -2'000'000};
    return dice.pick(steps);
}

StorageStep makeStep(Kind kind, Dice& dice, RandomBatch& batch, bool variable)
{
    StorageStep step;
    step.kind = kind;
    step.advanceUs = advanceUs(dice);
    if (kind == Kind::Write)
        step.records = batch.next();
    step.noteLate = dice.chance(50);
    step.keepOverwritten = dice.chance(35);
    const bool single = kind == Kind::Find || kind == Kind::FindPrevious;
    step.from = single ? batch.timestampMs() : batch.rangeEndMs();
    step.to = batch.rangeEndMs();
    if (step.from > step.to && dice.chance(80) && step.to > 0)
        std::swap(step.from, step.to);
    step.limit = dice.chance(70) ? 0 : static_cast<int>(dice.between(-1, 20));
    const std::array<QString, 4> markers{QString(), QString(), QStringLiteral("P"), QStringLiteral("O")};
    step.marker = dice.pick(markers);
    step.stores = static_cast<int>(dice.between(1, 7));
    // A fixed-size series would hand an interval to the engine, which has its own model.
    step.askIntervals = dice.chance(20);
    if (step.askIntervals && !variable)
        step.stores &= 6;
    step.pick = dice.between(0, 1'000'000);
    step.amount = dice.between(0, 1'000'000);
    const qint64 garbageBytes = dice.between(1, 40);
    for (qint64 i = 0; i < garbageBytes; ++i)
        step.garbage.append(static_cast<char>(dice.between(0, 255)));
    return step;
}

} // namespace

StorageCase makeStorageCase(quint64 seed, const ValueType& valueType, StorageCaseKind kind)
{
    Dice dice(seed);
    StorageCase result = makeStorageCase(dice, valueType, kind);
    result.seed = seed;
    return result;
}

StorageCase makeStorageCase(Dice& dice, const ValueType& valueType, StorageCaseKind kind)
{
    RandomBatch batch(dice, valueType.type);
    StorageCase result;
    result.valueType = valueType;
    const std::array<int, 9> limits{0, 12, 30, 60, 60, 120, 400, 3000, 1'000'000};
    result.maxFileSize = dice.pick(limits);
    const std::array<qint64, 4> clocks{1'700'000'000'123'456, 1'700'000'000'123'456, 1'715'953'499'999'999,
                                       59'900'000};
    result.nowUs = dice.pick(clocks);
    const qint64 stepCount = dice.between(2, kind == StorageCaseKind::Writing ? 8 : 16);
    const bool variable = PlainStorage(QString(), valueType.type, 0).isVariable();
    for (qint64 i = 0; i < stepCount; ++i) {
        const Kind next = i == 0 ? Kind::Write : dice.pick(kindsOf(kind));
        result.steps.push_back(makeStep(next, dice, batch, variable));
    }
    return result;
}

QString exactText(const QVariant& value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(19);
    stream << value;
    return QStringLiteral("%1(%2) %3")
        .arg(QLatin1String(value.typeName()), value.toString().left(40), QString::fromLatin1(bytes.toHex()));
}

QString exactText(const Record& record)
{
    return QString::number(record.timestamp) + QStringLiteral(": ") + exactText(record.value);
}

std::string describe(const StorageStep& step)
{
    static const char* const names[] = {
        "write",    "read",       "first",    "last",        "find",
        "findPrev", "count",      "adjust",   "delete",      "deleteEverywhere",
        "tearTail", "emptyFile",  "dropVar",  "truncateVar", "corruptVar",
        "blockVar", "strayEntry", "placeFile"};
    QString text =
        QStringLiteral("+%1us ").arg(step.advanceUs) + QLatin1String(names[static_cast<int>(step.kind)]);
    if (step.kind == Kind::Write) {
        text += QStringLiteral(" late=%1 keep=%2").arg(step.noteLate).arg(step.keepOverwritten);
        for (const Record& record : step.records)
            text += QStringLiteral("\n        ") + exactText(record);
        return text.toStdString();
    }
    text += QStringLiteral(" from=%1 to=%2 limit=%3 marker='%4' intervals=%5 stores=%6 pick=%7 amount=%8")
                .arg(step.from)
                .arg(step.to)
                .arg(step.limit)
                .arg(step.marker)
                .arg(step.askIntervals)
                .arg(step.stores)
                .arg(step.pick)
                .arg(step.amount);
    text += QStringLiteral(" place=%1 garbage=").arg(step.place) + QString::fromLatin1(step.garbage.toHex());
    return text.toStdString();
}

std::string describe(const StorageCase& storageCase)
{
    std::string text = "seed " + std::to_string(storageCase.seed) + ", " + storageCase.valueType.name +
                       ", maxFileSize " + std::to_string(storageCase.maxFileSize) + ", clock " +
                       std::to_string(storageCase.nowUs) + " us\n";
    for (std::size_t i = 0; i < storageCase.steps.size(); ++i)
        text += "  " + std::to_string(i) + ": " + describe(storageCase.steps[i]) + "\n";
    return text;
}

} // namespace Kiv::Testing
