#pragma once

// Owns the text forms of values.

#include "SeriesType.h"

#include <QByteArray>
#include <QByteArrayView>
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
ParsedValue parseValue(const SeriesType& type, QByteArrayView text);

/// The same for bool and the integers, without a variant.
/// \param value  false and true as 0 and 1; of uint64 the same 64 bits
/// \return what is wrong with the text, empty when nothing is
QString parseInteger(const SeriesType& type, QByteArrayView text, qint64& value);

/// The same for double.
QString parseDouble(QByteArrayView text, double& value);

/// The shortest decimal text that reads back as the same number; "nan", "inf", "-inf".
QString numberText(double value);
QString numberText(float value);

inline constexpr std::size_t kMaxNumberLength = 64;

/// Writes a number as numberText does.
/// \param to  has room for kMaxNumberLength bytes
/// \return the end of the text
char* writeNumber(double value, char* to);

/// The value as plain text; empty for null.
QString valueText(const QVariant& value);

/// A string as JSON, in its quotes.
QByteArray jsonString(const QString& text);

/// The value as JSON; numbers that JSON cannot write (NaN and infinities) and bytes become strings.
QByteArray valueJson(const QVariant& value);

} // namespace Kiv::Cli
