// Values of variable length: their bytes in the companion file, their positions, and what comes back.

#include "internal/RecordLayout.h"
#include "internal/VarValue.h"
#include "records/RecordStream.h"

#include <QDateTime>

#include <gtest/gtest.h>

namespace Kiv::Testing
{
namespace
{

std::string varHex(const QVariant& value)
{
    RecordStream record(QMetaType::QVariant);
    record.write(0, value);
    EXPECT_EQ(record.hex(), "000000000000");
    return record.varHex();
}

QVariant roundTripped(const QVariant& value, QMetaType::Type type = QMetaType::QVariant)
{
    RecordStream record(type);
    record.write(7, value);
    record.file.seek(0);
    const Record back = record.read();
    EXPECT_EQ(back.timestamp, 7);
    return back.value;
}

void expectRoundTrip(const QVariant& value)
{
    const QVariant back = roundTripped(value);
    EXPECT_EQ(back.typeId(), value.typeId()) << textOf(value);
    EXPECT_EQ(back, value) << textOf(value);
    EXPECT_EQ(textOf(back), textOf(value));
}

QByteArray streamed(const QVariant& value)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_5_15);
    stream << value;
    return bytes;
}

// --- Bytes -----------------------------------------------------------------------------------------------

TEST(CompanionBytes, AreTypeNullFlagAndPayload)
{
    EXPECT_EQ(varHex(5), "000000020000000005");
    EXPECT_EQ(varHex(true), "000000010001");
    EXPECT_EQ(varHex(qlonglong{-2}), "0000000400fffffffffffffffe");
    EXPECT_EQ(varHex(1.5), "00000006003ff8000000000000");
    EXPECT_EQ(varHex(1.5f), "00000026003ff8000000000000");
    EXPECT_EQ(varHex(QStringLiteral("AB")), "0000000a000000000400410042");
    EXPECT_EQ(varHex(QByteArray("ab")), "0000000c00000000026162");
    EXPECT_EQ(varHex(QVariantList{5, true}), "000000090000000002"
                                             "000000020000000005"
                                             "000000010001");
    EXPECT_EQ(varHex(QVariantMap{{"k", 5}}), "000000080000000001"
                                             "00000002006b"
                                             "000000020000000005");
    EXPECT_EQ(varHex(QStringList{"A"}), "0000000b0000000001"
                                        "000000020041");
}

TEST(CompanionBytes, OfAnInvalidValueAreTypeZeroAndTheNullFlag)
{
    EXPECT_EQ(varHex(QVariant()), "0000000001");
}

TEST(CompanionBytes, TellANullTextFromAnEmptyOne)
{
    EXPECT_EQ(varHex(QString()), "0000000a00ffffffff");
    EXPECT_EQ(varHex(QStringLiteral("")), "0000000a0000000000");
    EXPECT_EQ(varHex(QByteArray()), "0000000c00ffffffff");
}

TEST(CompanionBytes, OfATypedNullKeepItsType)
{
    EXPECT_EQ(varHex(QVariant(QMetaType(QMetaType::Int))), "000000020100000000");
    const QVariant back = roundTripped(QVariant(QMetaType(QMetaType::Int)));
    EXPECT_TRUE(back.isNull());
    EXPECT_EQ(back.typeId(), QMetaType::Int);
}

TEST(CompanionBytes, TakeTheLowestBitOfTheNullFlagAsTheStreamDoes)
{
    for (const char* flag : {"00", "01", "02", "08", "ff"}) {
        // A list in a list, of which the inner one has the flag.
        const QByteArray bytes =
            QByteArray::fromHex(QByteArray("00000009000000000100000009") + flag + "00000000");
        QDataStream stream(bytes);
        stream.setVersion(QDataStream::Qt_5_15);
        QVariant expected;
        stream >> expected;
        const std::optional<QVariant> decoded = Internal::decodeVarValue(bytes);
        ASSERT_TRUE(decoded.has_value()) << flag;
        EXPECT_EQ(Internal::encodeVarValue(*decoded), Internal::encodeVarValue(expected)) << flag;
    }
}

TEST(CompanionBytes, AreThoseOfTheVariantOnAStream)
{
    const QVariant values[] = {QVariant(),
                               -1,
                               7u,
                               qulonglong{1} << 63,
                               2.5,
                               QStringLiteral("\u00e4\u4e2d\U0001F600"),
                               QByteArray("\0\xff", 2),
                               QDateTime(QDate(2024, 5, 17), QTime(13, 45, 12, 345), Qt::UTC),
                               QDate(2024, 5, 17),
                               QTime(13, 45),
                               QChar(u'x'),
                               QVariantMap{{"b", 1}, {"a", QVariantList{QVariant(), "x"}}},
                               QVariant::fromValue(long{-3}),
                               QVariant::fromValue(short{-3}),
                               QVariant::fromValue(static_cast<signed char>(-3))};
    for (const QVariant& value : values) {
        EXPECT_EQ(varHex(value), streamed(value).toHex().toStdString()) << textOf(value);
        EXPECT_EQ(Internal::encodeVarValue(value), streamed(value)) << textOf(value);
    }
}

// --- Positions -------------------------------------------------------------------------------------------

TEST(CompanionPosition, IsTheSizeOfTheCompanionBeforeTheValue)
{
    RecordStream record(QMetaType::QString);
    record.write(1, QStringLiteral("AB"));
    record.write(2, QStringLiteral("C"));
    record.write(3, 5);
    EXPECT_EQ(record.hex(), "000100000000"
                            "00020000000d"
                            "000300000018");
    EXPECT_EQ(record.varHex(), "0000000a000000000400410042"
                               "0000000a00000000020043"
                               "000000020000000005");
}

TEST(CompanionPosition, StartsBehindBytesThatAreAlreadyThere)
{
    RecordStream record(QMetaType::QString);
    writeFile(record.varPath(), "junk");
    record.write(1, 5);
    EXPECT_EQ(record.hex(), "000100000004");
    EXPECT_EQ(record.varHex(), "6a756e6b"
                               "000000020000000005");
}

TEST(CompanionPosition, ChoosesTheValueThatIsRead)
{
    RecordStream record(QMetaType::QString, fromHex("00010000000d"
                                                    "000200000000"));
    writeFile(record.varPath(), fromHex("0000000a000000000400410042"
                                        "0000000a00000000020043"));
    EXPECT_EQ(textOf(record.read()), "1 QString C");
    EXPECT_EQ(textOf(record.read()), "2 QString AB");
}

TEST(CompanionPosition, IsFourBytesAtEveryDepth)
{
    for (int depth = 0; depth < 5; ++depth) {
        RecordStream record(QMetaType::QString);
        record.write(1, 5, depth);
        EXPECT_EQ(record.file.size(), Internal::offsetWidthForDepth(depth) + 4) << depth;
    }
}

TEST(CompanionPosition, BelongsToEveryTypeWithTheVariableMarker)
{
    for (const int number : {0, 7, 8, 10, 12, 32, 35, 39, 40, 41, 70}) {
        RecordStream record(static_cast<QMetaType::Type>(number));
        record.write(1, 5);
        EXPECT_EQ(record.hex(), "000100000000") << number;
        EXPECT_EQ(record.varHex(), "000000020000000005") << number;
    }
}

// --- Values ----------------------------------------------------------------------------------------------

TEST(CompanionValue, OfEveryCommonTypeComesBack)
{
    expectRoundTrip(QStringLiteral("text"));
    expectRoundTrip(QStringLiteral(""));
    expectRoundTrip(QString());
    expectRoundTrip(QStringLiteral("\u00e4\u4e2d\U0001F600"));
    expectRoundTrip(QByteArray("\0bytes\xff", 7));
    expectRoundTrip(QStringList{"a", "", "c"});
    expectRoundTrip(QVariantList{1, 2.5, "x", QVariant(), QVariantList{true}});
    expectRoundTrip(QVariantMap{});
    expectRoundTrip(QVariantMap{{"1700000000123", 5.5}, {"1700000000124", "x"}});
    expectRoundTrip(QVariantMap{{"a", QVariantMap{{"b", QVariantMap{{"c", QVariantList{1, 2}}}}}}});
    expectRoundTrip(QDateTime(QDate(2024, 5, 17), QTime(13, 45, 12, 345), Qt::UTC));
    expectRoundTrip(QDate(2024, 5, 17));
    expectRoundTrip(QTime(13, 45, 12, 345));
    expectRoundTrip(qlonglong{-1});
    expectRoundTrip(1.5f);
    expectRoundTrip(true);
}

TEST(CompanionValue, WithoutAValueComesBackInvalid)
{
    EXPECT_EQ(textOf(roundTripped(QVariant())), "invalid");
    EXPECT_TRUE(roundTripped(QVariant()).isNull());
}

TEST(CompanionValue, KeepsItsOwnTypeWhateverTheSeriesIs)
{
    EXPECT_EQ(textOf(roundTripped(5, QMetaType::QString)), "int 5");
    EXPECT_EQ(textOf(roundTripped("x", QMetaType::Long)), "QString x");
}

TEST(CompanionValue, OfAMegabyteComesBack)
{
    expectRoundTrip(QByteArray(1 << 20, 'x'));
    expectRoundTrip(QString(1 << 19, QChar(0x4e2d)));
}

TEST(CompanionValue, DecodesFromTheBytesItEncodesTo)
{
    for (const QVariant& value : {QVariant(), QVariant(5), QVariant("x"), QVariant(QVariantMap{{"a", 1}})}) {
        const std::optional<QVariant> back = Internal::decodeVarValue(Internal::encodeVarValue(value));
        ASSERT_TRUE(back.has_value()) << textOf(value);
        EXPECT_EQ(textOf(*back), textOf(value));
    }
}

} // namespace
} // namespace Kiv::Testing
