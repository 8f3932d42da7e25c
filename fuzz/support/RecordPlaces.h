#pragma once

// Owns the places of the calendar tree in which the fuzz targets put a record file.

#include <QByteArray>
#include <QMetaType>
#include <QString>

#include <vector>

namespace Kiv::Testing
{

struct RecordPlace {
    QString path;      ///< below the series directory
    int depth = 0;     ///< directories in the path
    qint64 baseMs = 0; ///< start of its period
};

/// One of each depth, before and after the epoch.
const std::vector<RecordPlace>& recordPlaces();

/// Start and end of the file's period, and the times of its first records.
std::vector<qint64> timesOf(const RecordPlace& place, QMetaType::Type type, const QByteArray& records);

} // namespace Kiv::Testing
