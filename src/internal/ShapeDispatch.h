#pragma once

// Owns the one choice between the loops over records: width of the offset and coding of the value are fixed for a
// file, so they are looked at once, above the loop.

#include "internal/RecordLayout.h"

#include <type_traits>

namespace Kiv::Internal
{

template <int width>
using WidthConstant = std::integral_constant<int, width>;

/// Calls `visit(WidthConstant<...>())` with the width of an offset. Offsets of a shape without a depth count as 2.
template <typename Visit>
auto visitWidth(int width, Visit visit)
{
    switch (width) {
    case 5:
        return visit(WidthConstant<5>());
    case 4:
        return visit(WidthConstant<4>());
    case 3:
        return visit(WidthConstant<3>());
    default:
        return visit(WidthConstant<2>());
    }
}

/// Calls `visit(WidthConstant<...>(), CodingConstant<...>())` with those of a shape.
template <typename Visit>
auto visitShape(const RecordShape& shape, Visit visit)
{
    return visitCoding(shape.coding, [&](auto coding) {
        return visitWidth(shape.offsetWidth, [&](auto width) { return visit(width, coding); });
    });
}

} // namespace Kiv::Internal
