// Companion files that are missing, special, damaged or hostile.

#include "internal/VarValue.h"
#include "records/RecordStream.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace Kiv::Testing
{
namespace
{

constexpr const char* kSource = "src/TSFileStorage";

/// The lines of a companion that cannot be opened.
std::vector<LogLine> failedOpenLines(const QString& modes, const QString& path, int attempts,
                                     const LogLine& lastLine)
{
    std::vector<LogLine> lines;
    for (int attempt = 1; attempt <= attempts; ++attempt)
        lines.push_back({4,
                         QStringLiteral("File open failed (%1) on '%2', attempt %3")
                             .arg(modes, path, QString::number(attempt)),
                         kSource, 140});
    lines.push_back(lastLine);
    return lines;
}

LogLine readFailure(const QString& path)
{
    return {2, QStringLiteral("Could not open '%1' for read (readCurrDataRecord)").arg(path), kSource, 388};
}

LogLine writeFailure(const QString& path)
{
    return {2, QStringLiteral("Could not open '%1' for write (writeDataRecord)").arg(path), kSource, 228};
}

void expectLines(const LogCapture& log, const std::vector<LogLine>& expected)
{
    ASSERT_EQ(log.lines.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(log.lines[i].text, expected[i].text);
        EXPECT_EQ(log.lines[i].level, expected[i].level) << i;
        EXPECT_EQ(log.lines[i].source, expected[i].source) << i;
        EXPECT_EQ(log.lines[i].line, expected[i].line) << i;
    }
}

// --- Not to be opened ------------------------------------------------------------------------------------

TEST(MissingCompanion, ReadsAsNoValueAfterSixAttempts)
{
    LogCapture log;
    RecordStream record(QMetaType::QString, fromHex("000500000000"));
    EXPECT_EQ(textOf(record.read(4, 1000)), "1005 invalid");
    expectLines(log, failedOpenLines("Read,", record.varPath(), 6, readFailure(record.varPath())));
}

TEST(MissingCompanion, CostsFiveSecondsOfWaiting)
{
    LogCapture log;
    RecordStream record(QMetaType::QString, fromHex("000500000000"));
    SeamsForTest seams;
    record.read();
    EXPECT_EQ(seams.sleptSeconds, 5);
}

TEST(UnwritableCompanion, RecordsPositionZeroAfterSixAttempts)
{
    LogCapture log;
    RecordStream record(QMetaType::QString);
    makeDirectory(record.varPath());
    record.write(5, QStringLiteral("x"));
    EXPECT_EQ(record.hex(), "000500000000");
    expectLines(log, failedOpenLines("Write,Append,", record.varPath(), 6, writeFailure(record.varPath())));
}

TEST(DirectoryAsCompanion, ReadsAsNoValueAfterSixAttempts)
{
    LogCapture log;
    RecordStream record(QMetaType::QString, fromHex("000500000000"));
    makeDirectory(record.varPath());
    EXPECT_EQ(textOf(record.read()), "5 invalid");
    expectLines(log, failedOpenLines("Read,", record.varPath(), 6, readFailure(record.varPath())));
}

TEST(FifoAsCompanion, IsNeverOpened)
{
    LogCapture log;
    RecordStream record(QMetaType::QString, fromHex("000500000000"));
    makeFifo(record.varPath());
    EXPECT_EQ(textOf(record.read()), "5 invalid");
    expectLines(log, {readFailure(record.varPath())});
    log.lines.clear();
    record.write(6, QStringLiteral("x"));
    EXPECT_EQ(record.hex(), "000500000000"
                            "000600000000");
    expectLines(log, {writeFailure(record.varPath())});
}

TEST(SocketAsCompanion, IsNeverOpened)
{
    LogCapture log;
    RecordStream record(QMetaType::QString, fromHex("000500000000"));
    const QByteArray path = QFile::encodeName(record.varPath());
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (static_cast<size_t>(path.size()) >= sizeof address.sun_path)
        GTEST_SKIP() << "the temporary directory is too deep for a socket";
    std::copy(path.begin(), path.end(), address.sun_path);
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(textOf(record.read()), "5 invalid");
    ::close(fd);
    expectLines(log, {readFailure(record.varPath())});
}

TEST(DeviceAsCompanion, IsNeverOpened)
{
    LogCapture log;
    RecordStream record(QMetaType::QString, fromHex("000500000000"));
    ASSERT_EQ(::symlink("/dev/zero", QFile::encodeName(record.varPath()).constData()), 0);
    EXPECT_EQ(textOf(record.read()), "5 invalid");
    expectLines(log, {readFailure(record.varPath())});
}

// --- Damaged bytes ---------------------------------------------------------------------------------------

std::string readVar(const QByteArray& varBytes, const char* position = "00000000")
{
    LogCapture log;
    RecordStream record(QMetaType::QString, fromHex("0005") + fromHex(position) + fromHex("000600000000"));
    writeFile(record.varPath(), varBytes);
    const std::string text = textOf(record.read());
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(record.file.pos(), 6);
    EXPECT_EQ(record.read().timestamp, 6);
    return text;
}

std::string readVarHex(const char* digits)
{
    return readVar(fromHex(digits));
}

TEST(DamagedCompanion, OfNoBytesReadsAsNoValue)
{
    EXPECT_EQ(readVar({}), "5 invalid");
}

TEST(DamagedCompanion, ReadBeyondItsEndGivesNoValue)
{
    EXPECT_EQ(readVar(fromHex("000000020000000005"), "00000009"), "5 invalid");
    EXPECT_EQ(readVar(fromHex("000000020000000005"), "7fffffff"), "5 invalid");
}

TEST(DamagedCompanion, CutAnywhereReadsAsNoValue)
{
    const QByteArray whole = Internal::encodeVarValue(QVariantMap{{"a", QVariantList{1, "text", 2.5}}});
    for (qsizetype size = 0; size < whole.size(); ++size)
        ASSERT_EQ(readVar(whole.left(size)), "5 invalid") << size;
    EXPECT_EQ(readVar(whole), "5 {a: [int 1, QString text, double 2.5]}");
}

TEST(DamagedCompanion, WithAnUnknownTypeReadsAsNoValue)
{
    EXPECT_EQ(readVarHex("0000270f0000000005"), "5 invalid");
    EXPECT_EQ(readVarHex("ffffffff0000000005"), "5 invalid");
    EXPECT_EQ(readVarHex("0000040000"
                         "00000008"
                         "4e6f537563680000"),
              "5 invalid");
}

TEST(DamagedCompanion, ReadsThePresentInvalidValueAsInvalid)
{
    EXPECT_EQ(readVarHex("0000000001"), "5 invalid");
}

// --- Hostile bytes ---------------------------------------------------------------------------------------

TEST(AbsurdCount, OfATextOrBytesReadsAsNoValue)
{
    EXPECT_EQ(readVarHex("0000000a00"
                         "7ffffffe"
                         "0041"),
              "5 invalid");
    EXPECT_EQ(readVarHex("0000000a00"
                         "fffffffe"
                         "0041"),
              "5 invalid");
    EXPECT_EQ(readVarHex("0000000a00"
                         "00000003"
                         "004100"),
              "5 invalid");
    EXPECT_EQ(readVarHex("0000000c00"
                         "7fffffff"
                         "61"),
              "5 invalid");
    EXPECT_EQ(readVarHex("0000000c00"
                         "fffffffe"
                         "61"),
              "5 invalid");
}

TEST(AbsurdCount, OfAContainerReadsAsNoValue)
{
    for (const char* type : {"00000008", "00000009", "0000000b", "0000001c"}) {
        for (const char* count : {"7fffffff", "ffffffff", "fffffffe", "10000000", "80000000"})
            EXPECT_EQ(readVar(fromHex(type) + fromHex("00") + fromHex(count)), "5 invalid") << type << count;
    }
    EXPECT_EQ(readVarHex("0000000900"
                         "7fffffff"
                         "000000020000000005"),
              "5 invalid");
}

TEST(AbsurdCount, InsideAContainerReadsAsNoValue)
{
    EXPECT_EQ(readVarHex("0000000900"
                         "00000002"
                         "000000020000000005"
                         "0000000900"
                         "7fffffff"),
              "5 invalid");
    EXPECT_EQ(readVarHex("0000000800"
                         "00000001"
                         "7ffffffe"
                         "0041"),
              "5 invalid");
}

/// A list in a list in a list, with a number in the innermost.
QByteArray nestedLists(int levels)
{
    QByteArray bytes;
    for (int i = 0; i < levels; ++i)
        bytes += fromHex("000000090000000001");
    return bytes + fromHex("000000020000000005");
}

QByteArray nestedMaps(int levels)
{
    QByteArray bytes;
    for (int i = 0; i < levels; ++i)
        bytes += fromHex("000000080000000001"
                         "00000002006b");
    return bytes + fromHex("000000020000000005");
}

int depthOf(QVariant value)
{
    int levels = 0;
    for (; value.typeId() == QMetaType::QVariantList; ++levels)
        value = QVariant(value.toList().value(0));
    return levels;
}

TEST(DeepNesting, UpTo511LevelsIsRead)
{
    RecordStream record(QMetaType::QString, fromHex("000500000000"));
    writeFile(record.varPath(), nestedLists(511));
    EXPECT_EQ(depthOf(record.read().value), 511);
}

TEST(DeepNesting, Beyond512LevelsReadsAsNoValue)
{
    EXPECT_EQ(readVar(nestedLists(513)), "5 invalid");
    EXPECT_EQ(readVar(nestedLists(100'000)), "5 invalid");
    EXPECT_EQ(readVar(nestedMaps(513)), "5 invalid");
    EXPECT_EQ(readVar(nestedMaps(100'000)), "5 invalid");
}

TEST(DeepNesting, OfVariantsInVariantsReadsAsNoValue)
{
    // Type 41 is a value that holds a value.
    QByteArray bytes;
    for (int i = 0; i < 100'000; ++i)
        bytes += fromHex("0000002900");
    EXPECT_EQ(readVar(bytes + fromHex("000000020000000005")), "5 invalid");
}

TEST(DeepNesting, OfHashesReadsAsNoValue)
{
    QByteArray bytes;
    for (int i = 0; i < 100'000; ++i)
        bytes += fromHex("0000001c0000000001"
                         "00000002006b");
    EXPECT_EQ(readVar(bytes + fromHex("000000020000000005")), "5 invalid");
}

TEST(DeepNesting, OfPairsReadsAsNoValue)
{
    QByteArray pairs;
    for (int level = 0; level < 200'000; ++level)
        pairs += fromHex("0000003a00");
    EXPECT_EQ(readVar(pairs), "5 invalid");
}

/// Lists in lists that each name their type instead of giving its number.
QByteArray nestedNamedLists(int levels)
{
    QByteArray bytes;
    for (int level = 0; level < levels; ++level)
        bytes += fromHex("0001000000"
                         "0000000c") +
                 "QVariantList" + fromHex("00000001");
    return bytes + fromHex("00000002000000002a");
}

TEST(DeepNesting, OfContainersThatNameTheirTypeReadsAsNoValue)
{
    EXPECT_EQ(readVar(nestedNamedLists(100'000)), "5 invalid");
}

TEST(DamagedCompanion, NamingTheTypeOfAContainerStillGivesTheContainer)
{
    EXPECT_EQ(Internal::decodeVarValue(nestedNamedLists(1)), QVariant(QVariantList{QVariant(42)}));
}

TEST(DamagedCompanion, NamingAnUnknownTypeReadsAsNoValue)
{
    EXPECT_EQ(readVar(fromHex("0001000000"
                              "00000003") +
                      "abc"),
              "5 invalid");
}

TEST(CompanionPair, ComesBackAsOnAStream)
{
    const QVariant pair = QVariant::fromValue(QVariantPair(QVariant(1), QVariant(QStringLiteral("b"))));
    const std::optional<QVariant> read = Internal::decodeVarValue(Internal::encodeVarValue(pair));
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, pair);
    EXPECT_FALSE(read->isNull());
}

TEST(DeepNesting, BesideShallowValuesDoesNotCount)
{
    QByteArray bytes = fromHex("0000000900000003e8");
    for (int i = 0; i < 1000; ++i)
        bytes += nestedLists(2);
    RecordStream record(QMetaType::QString, fromHex("000500000000"));
    writeFile(record.varPath(), bytes);
    const QVariantList list = record.read().value.toList();
    ASSERT_EQ(list.size(), 1000);
    EXPECT_EQ(depthOf(list.back()), 2);
}

TEST(RandomBytes, NeverCrashTheReader)
{
    const QtMessageHandler handler = qInstallMessageHandler([](auto, const auto&, const auto&) {});
    quint32 state = 1;
    const auto next = [&state] {
        return state = state * 1664525u + 1013904223u, static_cast<int>(state >> 24);
    };
    for (int round = 0; round < 2000; ++round) {
        QByteArray bytes = Internal::encodeVarValue(QVariantMap{{"a", QVariantList{1, "text", 2.5}}});
        for (int change = 0; change < 1 + round % 3; ++change)
            bytes[next() % bytes.size()] = static_cast<char>(next());
        const std::optional<QVariant> value = Internal::decodeVarValue(bytes);
        EXPECT_FALSE(textOf(value.value_or(QVariant())).empty());
    }
    qInstallMessageHandler(handler);
}

} // namespace
} // namespace Kiv::Testing
