#include "BrailleCanvas.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Kiv::Cli
{

DotPattern::DotPattern(int index)
{
    static constexpr std::array<const char*, kCount> kPatterns = {"#", "####...", "#..", "######..#.."};
    m_marks = kPatterns[static_cast<std::size_t>(index % kCount)];
}

bool DotPattern::next()
{
    const bool isSet = m_marks[m_step] == '#';
    m_step = m_marks[m_step + 1] == '\0' ? 0 : m_step + 1;
    return isSet;
}

BrailleCanvas::BrailleCanvas(int characterColumns, int characterRows)
    : m_characterColumns(characterColumns),
      m_characterRows(characterRows),
      m_cells(static_cast<std::size_t>(characterColumns) * static_cast<std::size_t>(characterRows))
{
}

void BrailleCanvas::setDot(int column, int row, int owner)
{
    // Unicode numbers the dots down the left column, then the right one; the lowest row came later.
    static constexpr std::array<std::array<unsigned, kDotColumns>, kDotRows> kBits = {
        {{0x01, 0x08}, {0x02, 0x10}, {0x04, 0x20}, {0x40, 0x80}}};
    if (column < 0 || row < 0 || column >= columnCount() || row >= rowCount())
        return;
    const int index = row / kDotRows * m_characterColumns + column / kDotColumns;
    Cell& cell = m_cells[static_cast<std::size_t>(index)];
    cell.dots |=
        kBits[static_cast<std::size_t>(row % kDotRows)][static_cast<std::size_t>(column % kDotColumns)];
    cell.owner = owner;
}

void BrailleCanvas::drawLine(int fromColumn, int fromRow, int toColumn, int toRow, DotPattern& pattern,
                             int owner)
{
    const int stepCount = std::max(std::abs(toColumn - fromColumn), std::abs(toRow - fromRow));
    for (int step = 0; step <= stepCount; ++step) {
        const double share = stepCount == 0 ? 0.0 : static_cast<double>(step) / stepCount;
        if (!pattern.next())
            continue;
        setDot(static_cast<int>(std::lround(std::lerp(fromColumn, toColumn, share))),
               static_cast<int>(std::lround(std::lerp(fromRow, toRow, share))), owner);
    }
}

const BrailleCanvas::Cell& BrailleCanvas::cellAt(int characterColumn, int characterRow) const
{
    return m_cells[static_cast<std::size_t>(characterRow * m_characterColumns + characterColumn)];
}

QChar BrailleCanvas::character(int characterColumn, int characterRow) const
{
    constexpr unsigned kFirstPattern = 0x2800;
    const unsigned dots = cellAt(characterColumn, characterRow).dots;
    return dots == 0 ? QChar(u' ') : QChar(static_cast<char16_t>(kFirstPattern + dots));
}

int BrailleCanvas::owner(int characterColumn, int characterRow) const
{
    return cellAt(characterColumn, characterRow).owner;
}

} // namespace Kiv::Cli
