#include "ValueText.h"

#include "Errors.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QStringDecoder>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace Kiv::Cli
{

namespace
{

// The store reads values nested deeper than 512 levels as null, so they must not get in.
constexpr int kMaxNesting = 500;

ParsedValue problem(const QString& text)
{
    return {{}, text};
}

template <typename Number>
std::from_chars_result readNumber(const QByteArray& text, Number& number)
{
    const char* const end = text.constData() + text.size();
    // A plus sign is a sign like any other, which from_chars does not know.
    const bool hasPlus = text.size() > 1 && text[0] == '+' && text[1] != '-';
    const auto result = std::from_chars(text.constData() + (hasPlus ? 1 : 0), end, number);
    if (result.ptr != end)
        return {result.ptr, std::errc::invalid_argument};
    return result;
}

/// \tparam Stored  what fixes the range
/// \tparam Held    what the store's variant holds
template <typename Stored, typename Held>
ParsedValue parseInteger(const QByteArray& text)
{
    using Limits = std::numeric_limits<Stored>;
    Stored number = 0;
    const std::errc error = readNumber(text, number).ec;
    const bool isNegativeUnsigned =
        !Limits::is_signed && text.size() > 1 && text[0] == '-' &&
        std::all_of(text.begin() + 1, text.end(), [](char digit) { return digit >= '0' && digit <= '9'; });
    if (error == std::errc::result_out_of_range || isNegativeUnsigned)
        return problem(QStringLiteral("is outside %1 to %2").arg(+Limits::min()).arg(+Limits::max()));
    if (error != std::errc())
        return problem(QStringLiteral("is not a whole number"));
    return {QVariant(static_cast<Held>(number)), {}};
}

template <typename Number>
ParsedValue parseFloating(const QByteArray& text, const QString& typeWord)
{
    Number number = 0;
    const std::errc error = readNumber(text, number).ec;
    if (error == std::errc::result_out_of_range)
        return problem(QStringLiteral("is outside the range of %1").arg(typeWord));
    if (error != std::errc())
        return problem(QStringLiteral("is not a number (write 1234.5, NaN or inf)"));
    return {QVariant(number), {}};
}

ParsedValue parseBool(const QByteArray& text)
{
    const QByteArray word = text.toLower();
    if (word == "1" || word == "true")
        return {QVariant(true), {}};
    if (word == "0" || word == "false")
        return {QVariant(false), {}};
    return problem(QStringLiteral("is not true, false, 1 or 0"));
}

ParsedValue parseString(const QByteArray& text)
{
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString decoded = decoder(text);
    if (decoder.hasError())
        return problem(QStringLiteral("is not UTF-8"));
    return {QVariant(decoded), {}};
}

ParsedValue parseBytes(const QByteArray& text)
{
    const bool isHex = text.size() % 2 == 0 && std::all_of(text.begin(), text.end(), [](char digit) {
                           return (digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= 'f') ||
                                  (digit >= 'A' && digit <= 'F');
                       });
    if (!isHex)
        return problem(QStringLiteral("is not pairs of hexadecimal digits"));
    return {QVariant(QByteArray::fromHex(text)), {}};
}

bool isNestedDeeper(const QJsonValue& value, int levels)
{
    if (!value.isArray() && !value.isObject())
        return false;
    if (levels == 0)
        return true;
    const auto deeper = [levels](const QJsonValue& part) { return isNestedDeeper(part, levels - 1); };
    if (value.isArray()) {
        const QJsonArray array = value.toArray();
        return std::any_of(array.begin(), array.end(), deeper);
    }
    const QJsonObject object = value.toObject();
    return std::any_of(object.begin(), object.end(), deeper);
}

ParsedValue parseMap(const QByteArray& text)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError)
        return problem(QStringLiteral("is not JSON (%1 at character %2)")
                           .arg(error.errorString())
                           .arg(error.offset + 1));
    if (!document.isObject())
        return problem(QStringLiteral("is not a JSON object ({\"name\":value,...})"));
    if (isNestedDeeper(document.object(), kMaxNesting))
        return problem(QStringLiteral("is nested deeper than %1 levels").arg(kMaxNesting));
    return {QVariant(document.object().toVariantMap()), {}};
}

template <typename Number>
QString shortestText(Number value)
{
    if (std::isnan(value))
        return QStringLiteral("nan");
    const Number magnitude = std::fabs(value);
    const bool isReadable = magnitude == 0 || (magnitude >= Number(1e-5) && magnitude < Number(1e15));
    const auto format =
        isReadable || std::isinf(value) ? std::chars_format::fixed : std::chars_format::scientific;
    std::array<char, 64> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, format);
    return QString::fromLatin1(buffer.data(), result.ptr - buffer.data());
}

QByteArray jsonOf(const QJsonValue& value)
{
    // Only arrays and objects make a document, so the value travels in an array of one.
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

bool isNumber(const QVariant& value)
{
    const int type = value.typeId();
    return (type >= QMetaType::Bool && type <= QMetaType::Double) || type == QMetaType::Float;
}

} // namespace

ParsedValue parseValue(const SeriesType& type, const QByteArray& text)
{
    const bool mayBeEmpty = type.metaType == QMetaType::QString || type.metaType == QMetaType::QByteArray;
    if (text.isEmpty() && (text.isNull() || !mayBeEmpty))
        return problem(QStringLiteral("is empty"));
    switch (type.metaType) {
    case QMetaType::Bool:
        return parseBool(text);
    case QMetaType::Int:
        return parseInteger<qint32, int>(text);
    case QMetaType::UInt:
        return parseInteger<quint32, uint>(text);
    case QMetaType::LongLong:
        return parseInteger<qint64, qlonglong>(text);
    case QMetaType::ULongLong:
        return parseInteger<quint64, qulonglong>(text);
    case QMetaType::Float:
        return parseFloating<float>(text, type.word);
    case QMetaType::Double:
        return parseFloating<double>(text, type.word);
    case QMetaType::Char:
        return parseInteger<qint8, int>(text);
    case QMetaType::UChar:
        return parseInteger<quint8, int>(text);
    case QMetaType::Short:
        return parseInteger<qint16, int>(text);
    case QMetaType::UShort:
        return parseInteger<quint16, int>(text);
    case QMetaType::QByteArray:
        return parseBytes(text);
    case QMetaType::QVariantMap:
        return parseMap(text);
    default:
        return parseString(text);
    }
}

QString numberText(double value)
{
    return shortestText(value);
}

QString numberText(float value)
{
    return shortestText(value);
}

QString valueText(const QVariant& value)
{
    if (value.isNull())
        return {};
    switch (value.typeId()) {
    case QMetaType::Double:
        return numberText(value.toDouble());
    case QMetaType::Float:
        return numberText(value.toFloat());
    case QMetaType::QByteArray:
        return QString::fromLatin1(value.toByteArray().toHex());
    case QMetaType::QVariantMap:
    case QMetaType::QVariantList:
        return QString::fromUtf8(jsonOf(QJsonValue::fromVariant(value)));
    default:
        return value.toString();
    }
}

QByteArray valueJson(const QVariant& value)
{
    if (value.isNull())
        return "null";
    if (value.typeId() == QMetaType::QVariantMap || value.typeId() == QMetaType::QVariantList ||
        value.typeId() == QMetaType::QString)
        return jsonOf(QJsonValue::fromVariant(value));
    if (isNumber(value) && std::isfinite(value.toDouble()))
        return valueText(value).toLatin1();
    return jsonOf(QJsonValue(valueText(value)));
}

} // namespace Kiv::Cli
