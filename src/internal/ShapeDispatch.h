#pragma once

// Owns the one choice between the loops over records: width of the offset and coding of the value are fixed for a
// file, so they are looked at once, above the loop.

#include "internal/RecordLayout.h"

#include <type_traits>

namespace Kiv::Internal
{

template <int width>
using Width = std::integral_constant<int, width>;
template <ValueCoding coding>
using Coding = std::integral_constant<ValueCoding, coding>;

/// Calls `visit(Width<...>(), Coding<...>())` with those of a shape. Offsets of a shape without a depth count as 2.
template <typename Visit>
auto visitShape(const RecordShape& shape, Visit visit)
{
    const auto visitCoding = [&](auto coding) {
        switch (shape.offsetWidth) {
        case 5:
            return visit(Width<5>(), coding);
        case 4:
            return visit(Width<4>(), coding);
        case 3:
            return visit(Width<3>(), coding);
        default:
            return visit(Width<2>(), coding);
        }
    };
    switch (shape.coding) {
    case ValueCoding::Bool:
        return visitCoding(Coding<ValueCoding::Bool>());
    case ValueCoding::Int8:
        return visitCoding(Coding<ValueCoding::Int8>());
    case ValueCoding::UInt8:
        return visitCoding(Coding<ValueCoding::UInt8>());
    case ValueCoding::Int16:
        return visitCoding(Coding<ValueCoding::Int16>());
    case ValueCoding::UInt16:
        return visitCoding(Coding<ValueCoding::UInt16>());
    case ValueCoding::Int32:
        return visitCoding(Coding<ValueCoding::Int32>());
    case ValueCoding::UInt32:
        return visitCoding(Coding<ValueCoding::UInt32>());
    case ValueCoding::Int64:
        return visitCoding(Coding<ValueCoding::Int64>());
    case ValueCoding::UInt64:
        return visitCoding(Coding<ValueCoding::UInt64>());
    case ValueCoding::Double:
        return visitCoding(Coding<ValueCoding::Double>());
    case ValueCoding::FloatAsDouble:
        return visitCoding(Coding<ValueCoding::FloatAsDouble>());
    case ValueCoding::VarPosition:
        break;
    }
    return visitCoding(Coding<ValueCoding::VarPosition>());
}

} // namespace Kiv::Internal
