#pragma once

// Owns the rows of one batch of an import, in the form in which the store takes them fastest.

#include "SeriesType.h"

#include "TSFileStorage.h"

#include <QByteArrayView>
#include <QString>
#include <QVariant>

#include <vector>

namespace Kiv::Cli
{

/// Numbers are held in columns, floats and values of variable length in records.
class ImportBatch
{
public:
    explicit ImportBatch(const SeriesType& type);

    /// Reads the value that the next add() takes.
    /// \return what is wrong with the text, empty when nothing is
    QString readValue(QByteArrayView text);

    /// Adds the value that was read last.
    void add(qint64 timestampMs);

    std::size_t size() const;

    /// The records, when there are no columns.
    const std::vector<Interpolate::DataRecord>& records() const { return m_records; }

    /// Of equal timestamps in the records leaves the one that a write would leave, the greatest value.
    /// \return how many were dropped
    qint64 dropRepeated();

    /// Writes everything and is empty afterwards.
    /// \param summary  what became of the rows
    bool write(TSFileStorage& storage, bool noteLate, bool keepOld, TSFileStorage::WriteSummary& summary);

private:
    const SeriesType& m_type;
    bool m_isInColumns;
    TSFileColumns m_columns;
    std::vector<Interpolate::DataRecord> m_records;
    // The value that was read last, in the member of its kind.
    qint64 m_integer = 0;
    double m_double = 0;
    QVariant m_value;
};

} // namespace Kiv::Cli
