#pragma once

// Owns what every reader of rows gives.

#include "InputLines.h"

#include <QByteArrayView>

#include <vector>

namespace Kiv::Cli
{

/// The cells lie in the reader's memory, until it reads the next row.
struct CsvRow {
    qint64 lineNumber = 0;             ///< where the row begins, from 1
    std::vector<QByteArrayView> cells; ///< a null view for an empty cell without quotes
};

class RowReader
{
public:
    virtual ~RowReader() = default;

    /// \return false at the end of the input
    /// \throws BadLine; unless that is the last one the reader can go on behind it. CommandError when the input cannot
    ///         be read, or on an interrupt
    virtual bool next(CsvRow& row) = 0;

    /// How far the input has been read.
    virtual qint64 readSizeBytes() const = 0;
};

} // namespace Kiv::Cli
