#include "internal/ColumnResults.h"

#include "internal/RecordLayout.h"

namespace Kiv::Internal
{

namespace
{

bool isIntegerType(QMetaType::Type type)
{
    const ValueCoding coding = valueCodingForType(type);
    return coding != ValueCoding::Double && coding != ValueCoding::FloatAsDouble &&
           coding != ValueCoding::VarPosition;
}

qint64 integerOf(const QVariant& value)
{
    return value.typeId() == QMetaType::ULongLong ? static_cast<qint64>(value.toULongLong())
                                                  : value.toLongLong();
}

} // namespace

/// Records pass through raw passes unchanged; everything else computes.
TSFileColumns::Kind kindOfResults(const Interpolate& engine)
{
    bool isRaw = isIntegerType(engine.targetType);
    for (const Interpolate* pass = &engine; pass != nullptr; pass = pass->nextPass.get())
        isRaw = isRaw && pass->method == Interpolate::RAW && pass->diffHandler == nullptr;
    return isRaw ? TSFileColumns::Kind::Integers : TSFileColumns::Kind::Doubles;
}

void appendResult(const Interpolate::DataRecord& record, TSFileColumns& columns)
{
    columns.timestamps.push_back(record.timestamp);
    columns.isNull.push_back(record.value.isNull() ? 1 : 0);
    if (columns.kind == TSFileColumns::Kind::Integers)
        columns.integers.push_back(integerOf(record.value));
    else
        columns.doubles.push_back(record.value.toDouble());
}

void reserveResults(std::size_t moreCount, TSFileColumns& columns)
{
    reserveMore(moreCount, columns.timestamps);
    reserveMore(moreCount, columns.isNull);
    if (columns.kind == TSFileColumns::Kind::Integers)
        reserveMore(moreCount, columns.integers);
    else
        reserveMore(moreCount, columns.doubles);
}

} // namespace Kiv::Internal
