#pragma once

// Owns the words of the value types and what the store calls them.

#include <QMetaType>
#include <QString>
#include <QStringList>

#include <vector>

namespace Kiv::Cli
{

struct SeriesType {
    QString word;
    QMetaType::Type metaType;
    QString marker; ///< directory of the series below its base directory
};

/// All types, in the order in which the help names them.
const std::vector<SeriesType>& allTypes();

QStringList typeWords();

/// \return the words of the types that share a marker directory
QStringList typeWordsOfMarker(const QString& marker);

/// \param option  names the place of the word in an error, for example "--type"
/// \throws CommandError
const SeriesType& typeOfWord(const QString& option, const QString& word);

/// Whether values have variable length; they have no arithmetic.
bool isVariableLength(const SeriesType& type);

/// Whether values are bool or integers.
bool isInteger(const SeriesType& type);

/// Whether the store's position arithmetic counts fewer bytes for a value than its files hold.
bool isFloat(const SeriesType& type);

} // namespace Kiv::Cli
