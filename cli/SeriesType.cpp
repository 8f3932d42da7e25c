#include "SeriesType.h"

#include "Words.h"

#include "TSFileStorage.h"

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

SeriesType makeType(const char* word, QMetaType::Type metaType)
{
    const TSFileStorage storage(QStringLiteral("."), metaType, 1);
    return {QString::fromLatin1(word), metaType, storage.getMarkerForValueType(metaType)};
}

} // namespace

const std::vector<SeriesType>& allTypes()
{
    // int8 is the store's Char, its signed 8-bit type.
    static const std::vector<SeriesType> types = {
        makeType("bool", QMetaType::Bool),        makeType("int", QMetaType::Int),
        makeType("uint", QMetaType::UInt),        makeType("int64", QMetaType::LongLong),
        makeType("uint64", QMetaType::ULongLong), makeType("float", QMetaType::Float),
        makeType("double", QMetaType::Double),    makeType("int8", QMetaType::Char),
        makeType("uint8", QMetaType::UChar),      makeType("int16", QMetaType::Short),
        makeType("uint16", QMetaType::UShort),    makeType("string", QMetaType::QString),
        makeType("bytes", QMetaType::QByteArray), makeType("map", QMetaType::QVariantMap),
    };
    return types;
}

QStringList typeWords()
{
    QStringList words;
    for (const SeriesType& type : allTypes())
        words += type.word;
    return words;
}

QStringList typeWordsOfMarker(const QString& marker)
{
    QStringList words;
    for (const SeriesType& type : allTypes()) {
        if (type.marker == marker)
            words += type.word;
    }
    return words;
}

const SeriesType& typeOfWord(const QString& option, const QString& word)
{
    const std::vector<SeriesType>& types = allTypes();
    const auto found = std::find_if(types.begin(), types.end(),
                                    [&word](const SeriesType& type) { return type.word == word; });
    if (found == types.end())
        throw unknownWord(option, word, typeWords());
    return *found;
}

bool isVariableLength(const SeriesType& type)
{
    return type.marker == QLatin1String("V");
}

bool isInteger(const SeriesType& type)
{
    return !isVariableLength(type) && !isFloat(type) && type.metaType != QMetaType::Double;
}

bool isFloat(const SeriesType& type)
{
    return type.metaType == QMetaType::Float;
}

} // namespace Kiv::Cli
