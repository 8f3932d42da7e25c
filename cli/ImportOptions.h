#pragma once

// Owns what the user asks of an import.

#include <QString>
#include <QStringList>

namespace Kiv::Cli
{

/// An empty text stands for an option that was not given.
struct ImportOptions {
    QStringList fileNames; ///< "-" for standard input
    QString seriesPath;    ///< base directory; of several series the directory below which they lie
    QString typeWord;
    QString formatWord;
    QString timeColumns;
    QString valueColumns;
    QString seriesColumn;
    QString timeFormat = QStringLiteral("auto");
    QString separator;
    bool isWide = false;
    int maxFileSizeBytes = 0;  ///< 0 when not given
    bool noteLate = false;     ///< log what is written at or before the last record of the series
    bool keepOld = false;      ///< keep overwritten values in the history
    bool skipsBadRows = false; ///< go on behind them
    bool isDryRun = false;
};

} // namespace Kiv::Cli
