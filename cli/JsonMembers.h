#pragma once

// Owns the splitting of a JSON object into its members without making anything else of their values than the text
// they were written in, so that numbers stay exact.

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <vector>

namespace Kiv::Cli
{

struct JsonMember {
    QByteArray name;
    /// Of a string what it says, of everything else the text as it is written; null for null. Lies in the object's
    /// text or in `decoded`.
    QByteArrayView value;
    QByteArray decoded;
};

/// \param members  replaced
/// \return what is wrong with the text, empty when it is one object
QString splitJsonObject(QByteArrayView text, std::vector<JsonMember>& members);

} // namespace Kiv::Cli
