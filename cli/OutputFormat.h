#pragma once

// Owns the choice of the output format.

#include <QString>
#include <QStringList>

namespace Kiv::Cli
{

enum class OutputFormat {
    Table,  ///< for people
    Csv,    ///< what import reads back
    Tsv,    ///< the same with tabs
    Json,   ///< one array of objects
    Ndjson, ///< one object a line
};

/// In the order of the enumeration.
const QStringList& formatWords();

/// \param word  of --format; empty takes what the ending of --output's file says, else a table on a terminal and CSV
///              elsewhere
/// \throws CommandError
OutputFormat parseOutputFormat(const QString& word);

inline bool isSeparated(OutputFormat format)
{
    return format == OutputFormat::Csv || format == OutputFormat::Tsv;
}

inline bool isJson(OutputFormat format)
{
    return format == OutputFormat::Json || format == OutputFormat::Ndjson;
}

/// What stands between the cells of a row of CSV or TSV.
inline char separatorOf(OutputFormat format)
{
    return format == OutputFormat::Tsv ? '\t' : ',';
}

} // namespace Kiv::Cli
