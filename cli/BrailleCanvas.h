#pragma once

// Owns a picture of dots, eight in each character of a terminal.

#include <QChar>

#include <vector>

namespace Kiv::Cli
{

/// Which steps along a line set a dot; it goes on across the corners of a line.
class DotPattern
{
public:
    /// 0 is solid; the others are dashed in different ways.
    static constexpr int kCount = 4;
    explicit DotPattern(int index);

    bool next();

private:
    const char* m_marks;
    int m_step = 0;
};

/// Columns and rows count from the upper left; what lies outside is not drawn.
class BrailleCanvas
{
public:
    static constexpr int kDotColumns = 2; ///< in a character
    static constexpr int kDotRows = 4;

    BrailleCanvas(int characterColumns, int characterRows);

    int columnCount() const { return m_characterColumns * kDotColumns; }
    int rowCount() const { return m_characterRows * kDotRows; }

    /// \param owner  whose line it is, from 0
    void setDot(int column, int row, int owner);
    void drawLine(int fromColumn, int fromRow, int toColumn, int toRow, DotPattern& pattern, int owner);

    /// A character of the picture; a blank where it has no dot.
    QChar character(int characterColumn, int characterRow) const;

    /// Who drew the last dot of a character; -1 for nobody.
    int owner(int characterColumn, int characterRow) const;

private:
    struct Cell {
        unsigned dots = 0;
        int owner = -1;
    };

    const Cell& cellAt(int characterColumn, int characterRow) const;

    int m_characterColumns;
    int m_characterRows;
    std::vector<Cell> m_cells;
};

} // namespace Kiv::Cli
