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
std::from_chars_result readNumber(QByteArrayView text, Number& number)
{
    const char* const end = text.data() + text.size();
    // A plus sign is a sign like any other, which from_chars does not know.
    const bool hasPlus = text.size() > 1 && text[0] == '+' && text[1] != '-';
    const auto result = std::from_chars(text.data() + (hasPlus ? 1 : 0), end, number);
    if (result.ptr != end)
        return {result.ptr, std::errc::invalid_argument};
    return result;
}

/// \tparam Stored  what fixes the range
template <typename Stored>
QString readInteger(QByteArrayView text, qint64& value)
{
    using Limits = std::numeric_limits<Stored>;
    Stored number = 0;
    const std::errc error = readNumber(text, number).ec;
    value = static_cast<qint64>(number);
    if (error == std::errc())
        return {};
    const bool isNegativeUnsigned =
        !Limits::is_signed && text.size() > 1 && text[0] == '-' &&
        std::all_of(text.begin() + 1, text.end(), [](char digit) { return digit >= '0' && digit <= '9'; });
    if (error == std::errc::result_out_of_range || isNegativeUnsigned)
        return QStringLiteral("is outside %1 to %2").arg(+Limits::min()).arg(+Limits::max());
    return QStringLiteral("is not a whole number");
}

template <typename Number>
QString readFloating(QByteArrayView text, const char* typeWord, Number& number)
{
    const std::errc error = readNumber(text, number).ec;
    if (error == std::errc())
        return {};
    if (error == std::errc::result_out_of_range)
        return QStringLiteral("is outside the range of %1").arg(QLatin1String(typeWord));
    return QStringLiteral("is not a number (write 1234.5, NaN or inf)");
}

QString readBool(QByteArrayView text, qint64& value)
{
    const auto isWord = [text](QByteArrayView word) { return text.compare(word, Qt::CaseInsensitive) == 0; };
    const bool isTrue = text == "1" || isWord("true");
    const bool isFalse = text == "0" || isWord("false");
    value = isTrue ? 1 : 0;
    return isTrue || isFalse ? QString() : QStringLiteral("is not true, false, 1 or 0");
}

/// An integer as the store's variant holds it.
QVariant integerVariant(QMetaType::Type type, qint64 value)
{
    switch (type) {
    case QMetaType::Bool:
        return QVariant(value != 0);
    case QMetaType::UInt:
        return QVariant(static_cast<uint>(value));
    case QMetaType::LongLong:
        return QVariant(qlonglong{value});
    case QMetaType::ULongLong:
        return QVariant(static_cast<qulonglong>(value));
    default:
        return QVariant(static_cast<int>(value));
    }
}

ParsedValue parseFloat(QByteArrayView text)
{
    float number = 0;
    const QString whatIsWrong = readFloating(text, "float", number);
    return whatIsWrong.isEmpty() ? ParsedValue{QVariant(number), {}} : problem(whatIsWrong);
}

ParsedValue parseString(QByteArrayView text)
{
    // What would be a byte order mark at the start of a file is a character of the value here.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    const QString decoded = decoder(text);
    if (decoder.hasError())
        return problem(QStringLiteral("is not UTF-8"));
    return {QVariant(decoded), {}};
}

ParsedValue parseBytes(QByteArrayView text)
{
    const bool isHex = text.size() % 2 == 0 && std::all_of(text.begin(), text.end(), [](char digit) {
                           return (digit >= '0' && digit <= '9') || (digit >= 'a' && digit <= 'f') ||
                                  (digit >= 'A' && digit <= 'F');
                       });
    if (!isHex)
        return problem(QStringLiteral("is not pairs of hexadecimal digits"));
    return {QVariant(QByteArray::fromHex(text.toByteArray())), {}};
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

ParsedValue parseMap(QByteArrayView text)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text.toByteArray(), &error);
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
char* writeShortest(Number value, char* to)
{
    if (std::isnan(value))
        return std::copy_n("nan", 3, to);
    const Number magnitude = std::fabs(value);
    const bool isReadable = magnitude == 0 || (magnitude >= Number(1e-5) && magnitude < Number(1e15));
    const auto format =
        isReadable || std::isinf(value) ? std::chars_format::fixed : std::chars_format::scientific;
    return std::to_chars(to, to + kMaxNumberLength, value, format).ptr;
}

template <typename Number>
QString shortestText(Number value)
{
    std::array<char, kMaxNumberLength> buffer;
    return QString::fromLatin1(buffer.data(), writeShortest(value, buffer.data()) - buffer.data());
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

QString parseInteger(const SeriesType& type, QByteArrayView text, qint64& value)
{
    if (text.isEmpty())
        return QStringLiteral("is empty");
    switch (type.metaType) {
    case QMetaType::Bool:
        return readBool(text, value);
    case QMetaType::Int:
        return readInteger<qint32>(text, value);
    case QMetaType::UInt:
        return readInteger<quint32>(text, value);
    case QMetaType::ULongLong:
        return readInteger<quint64>(text, value);
    case QMetaType::Char:
        return readInteger<qint8>(text, value);
    case QMetaType::UChar:
        return readInteger<quint8>(text, value);
    case QMetaType::Short:
        return readInteger<qint16>(text, value);
    case QMetaType::UShort:
        return readInteger<quint16>(text, value);
    default:
        return readInteger<qint64>(text, value);
    }
}

QString parseDouble(QByteArrayView text, double& value)
{
    return text.isEmpty() ? QStringLiteral("is empty") : readFloating(text, "double", value);
}

ParsedValue parseValue(const SeriesType& type, QByteArrayView text)
{
    if (isInteger(type)) {
        qint64 value = 0;
        const QString whatIsWrong = parseInteger(type, text, value);
        return whatIsWrong.isEmpty() ? ParsedValue{integerVariant(type.metaType, value), {}}
                                     : problem(whatIsWrong);
    }
    if (type.metaType == QMetaType::Double) {
        double value = 0;
        const QString whatIsWrong = parseDouble(text, value);
        return whatIsWrong.isEmpty() ? ParsedValue{QVariant(value), {}} : problem(whatIsWrong);
    }
    const bool mayBeEmpty = type.metaType == QMetaType::QString || type.metaType == QMetaType::QByteArray;
    if (text.isEmpty() && (text.isNull() || !mayBeEmpty))
        return problem(QStringLiteral("is empty"));
    switch (type.metaType) {
    case QMetaType::Float:
        return parseFloat(text);
    case QMetaType::QByteArray:
        return parseBytes(text);
    case QMetaType::QVariantMap:
        return parseMap(text);
    default:
        return parseString(text);
    }
}

char* writeNumber(double value, char* to)
{
    return writeShortest(value, to);
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

QByteArray jsonString(const QString& text)
{
    return jsonOf(QJsonValue(text));
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
    return jsonString(valueText(value));
}

} // namespace Kiv::Cli
