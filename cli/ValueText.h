#pragma once

// Owns the text forms of values.

#include "SeriesType.h"

#include <QByteArray>
#include <QVariant>

namespace Kiv::Cli
{

/// A value read from text, or what is wrong with the text.
struct ParsedValue {
    QVariant value;
    QString problem; ///< empty when the text is a value of the type; else "is not ..."
};

/// Reads a value exactly: a text that does not fit the type is a problem, never a near value.
/// Bytes are hexadecimal digits, a map is a JSON object.
/// \param text  a null array stands for a missing value, an empty one for an empty text
ParsedValue parseValue(const SeriesType& type, const QByteArray& text);

/// The shortest decimal text that reads back as the same number; "nan", "inf", "-inf".
QString numberText(double value);
QString numberText(float value);

/// The value as plain text; empty for null.
QString valueText(const QVariant& value);

/// The value as JSON; numbers that JSON cannot write (NaN and infinities) and bytes become strings.
QByteArray valueJson(const QVariant& value);

} // namespace Kiv::Cli
