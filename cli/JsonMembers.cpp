#include "JsonMembers.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// As JSON writes numbers: no plus sign, no bare point, no leading zeros.
bool isJsonNumber(QByteArrayView text)
{
    const char* at = text.begin();
    const char* const end = text.end();
    const auto passDigits = [&at, end] {
        const char* const begin = at;
        at = std::find_if_not(at, end, isDigit);
        return at - begin;
    };
    if (at != end && *at == '-')
        ++at;
    const char first = at != end ? *at : ' ';
    const auto digitCount = passDigits();
    if (digitCount == 0 || (digitCount > 1 && first == '0'))
        return false;
    if (at != end && *at == '.' && (++at, passDigits() == 0))
        return false;
    if (at != end && (*at == 'e' || *at == 'E')) {
        ++at;
        if (at != end && (*at == '+' || *at == '-'))
            ++at;
        if (passDigits() == 0)
            return false;
    }
    return at == end;
}

class Scanner
{
public:
    explicit Scanner(QByteArrayView text) : m_begin(text.begin()), m_at(text.begin()), m_end(text.end()) {}

    QString scanObject(std::vector<JsonMember>& members)
    {
        members.clear();
        if (!take('{'))
            return QStringLiteral("is not a JSON object ({\"name\":value,...})");
        bool isGood = take('}') || scanMembers(members);
        passBlanks();
        isGood = isGood && m_at == m_end;
        return isGood ? QString()
                      : QStringLiteral("is not JSON from character %1 on").arg(m_at - m_begin + 1);
    }

private:
    void passBlanks()
    {
        while (m_at != m_end && QByteArrayView(" \t\r\n").contains(*m_at))
            ++m_at;
    }

    bool take(char wanted)
    {
        passBlanks();
        if (m_at == m_end || *m_at != wanted)
            return false;
        ++m_at;
        return true;
    }

    bool scanMembers(std::vector<JsonMember>& members)
    {
        do {
            JsonMember member;
            QByteArrayView name;
            passBlanks();
            if (!scanString(name, member.name))
                return false;
            if (member.name.isNull())
                member.name = name.toByteArray();
            if (!take(':') || !scanValue(member))
                return false;
            members.push_back(std::move(member));
        } while (take(','));
        return take('}');
    }

    bool scanValue(JsonMember& member)
    {
        passBlanks();
        if (m_at == m_end)
            return false;
        if (*m_at == '"')
            return scanString(member.value, member.decoded);
        return *m_at == '{' || *m_at == '[' ? scanNested(member.value) : scanWord(member.value);
    }

    /// \param text     what the string says
    /// \param decoded  holds that when it is not what is written
    bool scanString(QByteArrayView& text, QByteArray& decoded)
    {
        const char* const begin = m_at;
        bool hasEscapes = false;
        if (!passString(hasEscapes))
            return false;
        text = QByteArrayView(begin + 1, m_at - 1);
        if (!hasEscapes)
            return true;
        const QJsonArray array =
            QJsonDocument::fromJson('[' + QByteArrayView(begin, m_at).toByteArray() + ']').array();
        if (!array.at(0).isString()) {
            m_at = begin;
            return false;
        }
        decoded = array.at(0).toString().toUtf8();
        text = decoded;
        return true;
    }

    /// \return false, at the place that is wrong, when no string stands here
    bool passString(bool& hasEscapes)
    {
        if (m_at == m_end || *m_at != '"')
            return false;
        for (++m_at; m_at != m_end && static_cast<unsigned char>(*m_at) >= 0x20; ++m_at) {
            if (*m_at == '"') {
                ++m_at;
                return true;
            }
            if (*m_at == '\\') {
                hasEscapes = true;
                if (++m_at == m_end || !QByteArrayView("\"\\/bfnrtu").contains(*m_at))
                    return false;
            }
        }
        return false;
    }

    bool scanWord(QByteArrayView& text)
    {
        const char* const begin = m_at;
        m_at = std::find_if(m_at, m_end,
                            [](char character) { return QByteArrayView(",} \t\r\n").contains(character); });
        text = QByteArrayView(begin, m_at);
        const bool isNull = text == "null";
        if (!isNull && text != "true" && text != "false" && !isJsonNumber(text)) {
            m_at = begin;
            return false;
        }
        if (isNull)
            text = QByteArrayView();
        return true;
    }

    /// An array or an object: its end is found by its brackets, its inside is Qt's to judge.
    bool scanNested(QByteArrayView& text)
    {
        const char* const begin = m_at;
        qsizetype depth = 0;
        do {
            bool hasEscapes = false;
            if (m_at == m_end || (*m_at == '"' && !passString(hasEscapes)))
                return false;
            if (m_at == m_end)
                return false;
            if (*m_at == '{' || *m_at == '[')
                ++depth;
            if (*m_at == '}' || *m_at == ']')
                --depth;
            if (*m_at != '"')
                ++m_at;
        } while (depth > 0);
        text = QByteArrayView(begin, m_at);
        QJsonParseError error;
        QJsonDocument::fromJson(text.toByteArray(), &error);
        if (error.error == QJsonParseError::NoError)
            return true;
        m_at = begin;
        return false;
    }

    const char* m_begin;
    const char* m_at;
    const char* m_end;
};

} // namespace

QString splitJsonObject(QByteArrayView text, std::vector<JsonMember>& members)
{
    return Scanner(text).scanObject(members);
}

} // namespace Kiv::Cli
