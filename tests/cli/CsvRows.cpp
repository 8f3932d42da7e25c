// Rows of CSV: lines that are split where they lie give the cells that the parser gives.

#include "CsvReader.h"

#include <QBuffer>
#include <QIODevice>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace Kiv::Cli
{
namespace
{

/// Gives one byte at a time, so that no line ever lies in the reader's block as a whole.
class Dribble : public QIODevice
{
public:
    explicit Dribble(QByteArray bytes) : m_bytes(std::move(bytes)) { open(ReadOnly | Unbuffered); }

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char* data, qint64 maxSizeBytes) override
    {
        if (m_position == m_bytes.size() || maxSizeBytes == 0)
            return -1;
        *data = m_bytes[m_position++];
        return 1;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray m_bytes;
    qsizetype m_position = 0;
};

std::string textOf(QByteArrayView cell)
{
    return cell.isNull() ? std::string("null") : '[' + cell.toByteArray().toStdString() + ']';
}

/// Every row with its line number, or the message that ended the reading.
std::vector<std::string> rowsOf(QIODevice& device, char separator)
{
    std::vector<std::string> rows;
    CsvReader reader(device, separator);
    CsvRow row;
    try {
        while (reader.next(row)) {
            std::string text = std::to_string(row.lineNumber);
            for (const QByteArrayView cell : row.cells)
                text += ' ' + textOf(cell);
            rows.push_back(text);
        }
    } catch (const BadLine& error) {
        rows.push_back(std::to_string(error.lineNumber()) + ": " + error.text().toStdString());
    }
    return rows;
}

std::vector<std::string> rowsOf(QByteArray bytes, char separator)
{
    QBuffer device(&bytes);
    device.open(QIODevice::ReadOnly);
    return rowsOf(device, separator);
}

TEST(CsvRows, AreTheSameSplitInPlaceAndByTheParser)
{
    const std::vector<std::string> kPieces{"1", "ab", ",", ";", "\t", " ", "\n", "\n", "\r\n", ",", ","};
    const std::vector<std::string> kOddPieces{"\"", "\"x\"", "\r", "\"a,\n\"\"b\"", "\v", "\xc3\xa4"};
    char room[64];
    ASSERT_EQ(Dribble("1,2\n").read(room, sizeof room), 1);
    std::mt19937_64 random(1);
    for (int i = 0; i < 5'000; ++i) {
        const char separator = ",;\t"[random() % 3];
        QByteArray bytes;
        for (std::size_t left = random() % 40; left > 0; --left)
            bytes += QByteArray::fromStdString(random() % 30 == 0 ? kOddPieces[random() % kOddPieces.size()]
                                                                  : kPieces[random() % kPieces.size()]);
        Dribble dribble(bytes);
        ASSERT_EQ(rowsOf(bytes, separator), rowsOf(dribble, separator)) << bytes.toStdString();
    }
}

TEST(CsvRows, KeepTheirCellsAcrossTheEndsOfBlocks)
{
    QByteArray bytes("time,value\n");
    std::vector<std::string> expected{"1 [time] [value]"};
    for (int i = 2; bytes.size() < 400'000; ++i) {
        const std::string number = std::to_string(i * 7919LL);
        bytes += QByteArray::fromStdString(number + ", " + number + " \r\n");
        expected.push_back(std::to_string(i) + " [" + number + "] [" + number + ']');
    }
    EXPECT_EQ(rowsOf(bytes, ','), expected);
}

TEST(CsvRows, PassOverBlankLinesAndKeepCountingThem)
{
    EXPECT_EQ(rowsOf("a,b\n\n  \n\t\r\n1,2\n,\n \n3,4", ','),
              (std::vector<std::string>{"1 [a] [b]", "5 [1] [2]", "6 null null", "8 [3] [4]"}));
}

TEST(CsvRows, EndedByACarriageReturnInsideALineAreRefusedWhateverFollows)
{
    const std::string kRefusal =
        "2: a carriage return ends a row inside the line; convert the line ends to LF or CRLF";
    for (const char* const line : {"1\r2\n", "1\r\"2\n3\"\n", "1,\r\"\r\n4\n"})
        EXPECT_EQ(rowsOf(QByteArray("a\n") + line, ',').back(), kRefusal) << line;
    EXPECT_EQ(rowsOf("a\n1\r\r\n2 \r \n\"\r3\"\n", ','),
              (std::vector<std::string>{"1 [a]", "2 [1]", "3 [2]", "4 [\r3]"}));
}

TEST(CsvRows, GoOnWithTheLineBehindABadOne)
{
    QByteArray bytes("t,v\n1,a\"b\n2,2\n\"3\n3\",\"x\" y\n4,4\n5,\"\r6\n\"\n7\r8\n9,9\n");
    QBuffer device(&bytes);
    device.open(QIODevice::ReadOnly);
    CsvReader reader(device, ',');
    std::string rows;
    CsvRow row;
    for (bool isAtEnd = false; !isAtEnd;) {
        try {
            isAtEnd = !reader.next(row);
            if (!isAtEnd)
                rows += std::to_string(row.lineNumber) + ' ';
        } catch (const BadLine& error) {
            ASSERT_FALSE(error.isLast());
            rows += '!' + std::to_string(error.lineNumber()) + ' ';
        }
    }
    EXPECT_EQ(rows, "1 !2 3 !5 6 7 !9 10 ");
}

TEST(CsvRows, SayWhenNobodyCanTellWhereTheNextRowBegins)
{
    for (const char* const text : {"1,2\n3,\"4\n5,6\n", "\xff\xfe\x31"}) {
        QByteArray bytes(text);
        QBuffer device(&bytes);
        device.open(QIODevice::ReadOnly);
        CsvReader reader(device, ',');
        CsvRow row;
        bool isLast = false;
        try {
            while (reader.next(row)) {
            }
        } catch (const BadLine& error) {
            isLast = error.isLast();
        }
        EXPECT_TRUE(isLast) << text;
    }
}

} // namespace
} // namespace Kiv::Cli
