// Rows of NDJSON: members keep the text that they were written in, and a bad line is no end.

#include "JsonMembers.h"
#include "JsonRowReader.h"

#include <QBuffer>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace Kiv::Cli
{
namespace
{

std::string textOf(QByteArrayView cell)
{
    return cell.isNull() ? std::string("null") : '[' + cell.toByteArray().toStdString() + ']';
}

std::string membersOf(QByteArrayView text)
{
    std::vector<JsonMember> members;
    const QString problem = splitJsonObject(text, members);
    if (!problem.isEmpty())
        return problem.toStdString();
    std::string all;
    for (const JsonMember& member : members)
        all += member.name.toStdString() + '=' + textOf(member.value) + ' ';
    return all;
}

/// Every row, or what is wrong with it.
std::vector<std::string> rowsOf(QByteArray bytes, const QByteArrayList& names)
{
    QBuffer device(&bytes);
    device.open(QIODevice::ReadOnly);
    JsonRowReader reader(device, names);
    std::vector<std::string> rows;
    CsvRow row;
    for (bool isAtEnd = false; !isAtEnd;) {
        try {
            isAtEnd = !reader.next(row);
            if (isAtEnd)
                break;
            std::string text = std::to_string(row.lineNumber);
            for (const QByteArrayView cell : row.cells)
                text += ' ' + textOf(cell);
            rows.push_back(text);
        } catch (const BadLine& error) {
            rows.push_back(std::to_string(error.lineNumber()) + " bad");
            isAtEnd = error.isLast();
        }
    }
    return rows;
}

TEST(JsonMembers, KeepNumbersAsTheyAreWritten)
{
    EXPECT_EQ(membersOf(R"({"a":18446744073709551615,"b":-0.10e+5,"c":"12","d":true,"e":null,"f":""})"),
              "a=[18446744073709551615] b=[-0.10e+5] c=[12] d=[true] e=null f=[] ");
    EXPECT_EQ(membersOf(" {\t} \r\n"), "");
}

TEST(JsonMembers, SayWhatTheirStringsSay)
{
    EXPECT_EQ(membersOf(R"({"\u00e4\"":"\ud83c\udf21 \\ \/ \n","x":"ä"})"), "ä\"=[🌡 \\ / \n] x=[ä] ");
}

TEST(JsonMembers, KeepNestedValuesWhole)
{
    EXPECT_EQ(membersOf(R"({"a":{"b":["}",{"c":"\"]"}]},"d":[[],{}]})"),
              R"(a=[{"b":["}",{"c":"\"]"}]}] d=[[[],{}]] )");
}

TEST(JsonMembers, AreTakenAndRefusedAsQtDoes)
{
    const std::vector<const char*> kPieces{
        "{",    "}",    "[",   "]", ",",  ":",  "\"a\"", "\"b\":", "1",    "-2.",     "01",    "1e5",
        "true", "null", "nul", " ", "\"", "\\", "{}",    "[]",     "\"\"", "{\"x\":", "\"y\"]"};
    std::mt19937_64 random(1);
    int goodCount = 0;
    for (int i = 0; i < 200'000; ++i) {
        QByteArray text("{\"a\":");
        for (std::size_t left = random() % 6; left > 0; --left)
            text += kPieces[random() % kPieces.size()];
        text += random() % 4 == 0 ? "" : "}";
        std::vector<JsonMember> members;
        const bool isTaken = splitJsonObject(text, members).isEmpty();
        QJsonParseError error;
        const bool isObject = QJsonDocument::fromJson(text, &error).isObject();
        // Qt is not strict about how numbers are written, and takes none that is no double.
        const bool isOdd = text.contains("01") || text.contains("2.") || text.contains('\\');
        ASSERT_TRUE(isTaken ? isObject || text.contains("e5") : !isObject || isOdd) << text.toStdString();
        goodCount += isTaken ? 1 : 0;
    }
    EXPECT_GT(goodCount, 1000);
}

TEST(JsonRows, BeginWithTheNamesThatAreWanted)
{
    EXPECT_EQ(rowsOf("{\"b\":2,\"a\":1,\"c\":3}\n\n \r\n{\"a\":4}\r\n{\"a\":5,\"b\":null}", {"a", "b"}),
              (std::vector<std::string>{"0 [a] [b]", "1 [1] [2]", "4 [4] null", "5 [5] null"}));
}

TEST(JsonRows, TakeTheNamesOfTheFirstObjectWhenAllAreWanted)
{
    EXPECT_EQ(rowsOf("\n{\"t\":1,\"b\":2}\n{\"b\":4,\"t\":3}\n{\"c\":1}\n{\"t\":5}", {}),
              (std::vector<std::string>{"2 [t] [b]", "2 [1] [2]", "3 [3] [4]", "4 bad", "5 [5] null"}));
    EXPECT_EQ(rowsOf("", {}), std::vector<std::string>{});
}

TEST(JsonRows, GoOnBehindABadLine)
{
    EXPECT_EQ(rowsOf("{\"a\":1}\n{\"a\":\n[]\n{\"a\":2}\n", {"a"}),
              (std::vector<std::string>{"0 [a]", "1 [1]", "2 bad", "3 bad", "4 [2]"}));
}

} // namespace
} // namespace Kiv::Cli
