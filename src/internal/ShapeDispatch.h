#pragma once

// Owns the one choice between the loops over records: width of the offset and coding of the value are fixed for a
// file, so they are looked at once, above the loop.

#include "internal/RecordLayout.h"

#include <type_traits>

namespace Kiv::Internal
{

template <int width>
using WidthConstant = std::integral_constant<int, width>;

/// Calls `visit(WidthConstant<...>(), CodingConstant<...>())` with those of a shape. Offsets of a shape without a
/// depth count as 2.
template <typename Visit>
auto visitShape(const RecordShape& shape, Visit visit)
{
    return visitCoding(shape.coding, [&](auto coding) {
        switch (shape.offsetWidth) {
        case 5:
            return visit(WidthConstant<5>(), coding);
        case 4:
            return visit(WidthConstant<4>(), coding);
        case 3:
            return visit(WidthConstant<3>(), coding);
        default:
            return visit(WidthConstant<2>(), coding);
        }
    });
}

} // namespace Kiv::Internal
