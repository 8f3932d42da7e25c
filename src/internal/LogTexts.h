#pragma once

// Owns every text that the library logs: level, format, source name and line, in one table.

#include <Kiv/Logger.h>

#include <QLatin1String>
#include <QVariant>

namespace Kiv::Internal
{

struct LogText {
    unsigned char level;
    const char* format;
    const char* source;
    int line;
};

/// An entry whose line number is that of the entry itself.
constexpr LogText entry(unsigned char level, const char* source, const char* format,
                        int line = __builtin_LINE())
{
    return {level, format, source, line};
}

/// An entry that keeps a fixed line number.
constexpr LogText entryAtLine(unsigned char level, const char* source, const char* format, int line)
{
    return {level, format, source, line};
}

namespace LogTexts
{

inline constexpr const char* kFileInfo = "src/TSFileInfo";
inline constexpr const char* kStorage = "src/TSFileStorage";
inline constexpr const char* kEngine = "src/Interpolate";

inline constexpr unsigned char kError = 2;
inline constexpr unsigned char kWarning = 4;
inline constexpr unsigned char kDebug = 7;

// clang-format off
inline constexpr LogText kInvalidBaseTime = entryAtLine(kError, kFileInfo, "Exception on getBaseTsMs - DateTime", 68);

inline constexpr LogText kOpenAttemptFailed = entryAtLine(kWarning, kStorage, "File open failed (%1) on '%2', attempt %3", 140);
inline constexpr LogText kVarOpenForWrite = entryAtLine(kError, kStorage, "Could not open '%1' for write (writeDataRecord)", 228);
inline constexpr LogText kVarOpenForRead = entryAtLine(kError, kStorage, "Could not open '%1' for read (readCurrDataRecord)", 388);
inline constexpr LogText kOpenGetFirst = entryAtLine(kError, kStorage, "Could not open '%1' for read (getFirstDataRecord)", 499);
inline constexpr LogText kOpenGetLast = entryAtLine(kError, kStorage, "Could not open '%1' for read (getLastDataRecord)", 526);
inline constexpr LogText kOpenFindPrev = entryAtLine(kError, kStorage, "Could not open '%1' for read (findPrevDataRecord)", 559);
inline constexpr LogText kOpenFind = entryAtLine(kError, kStorage, "Could not open '%1' for read (findDataRecord)", 605);
inline constexpr LogText kNoIntervalSupport = entryAtLine(kWarning, kStorage, "No interval support for variant", 677);

inline constexpr LogText kOpenRead = entry(kError, kStorage, "Could not open '%1' for read (readDataRecords)");
inline constexpr LogText kOpenCount = entry(kError, kStorage, "Could not open '%1' for read (getCount)");

inline constexpr LogText kOpenNewForWrite = entry(kError, kStorage, "Could not open '%1' for write (writeDataRecords)");
inline constexpr LogText kOpenOldForWrite = entry(kError, kStorage, "Could not open '%1' for read/write (writeDataRecords)");
inline constexpr LogText kWriteFailed = entry(kError, kStorage, "Could not write '%1' (writeDataRecords)");
inline constexpr LogText kColumnsDiffer = entry(kError, kStorage, "Columns of different lengths (writeDataColumns)");
inline constexpr LogText kOverwritten = entry(kWarning, kStorage, "Value on '%1' overwritten on time stamp %2 old:%3, new:%4");
inline constexpr LogText kOverwrittenException = entry(kError, kStorage, "Exception on log overwritten: '%1'");

inline constexpr LogText kSplitOpenForRead = entry(kError, kStorage, "Could not open '%1' for read (checkMaxFileSize)");
inline constexpr LogText kSplitOpenForWrite = entry(kError, kStorage, "Could not open '%1' for write (checkMaxFileSize)");
inline constexpr LogText kSplitWriteFailed = entry(kError, kStorage, "Could not write '%1' (checkMaxFileSize)");

inline constexpr LogText kReorganize = entry(kDebug, kStorage, "Reorganize .var file '%1'");
inline constexpr LogText kReorganizeOpenForRead = entry(kError, kStorage, "Could not open '%1' for read (reorgVarFile)");
inline constexpr LogText kReorganizeOpenForWrite = entry(kError, kStorage, "Could not open '%1' for write (reorgVarFile)");
inline constexpr LogText kReorganizeWriteFailed = entry(kError, kStorage, "Could not write '%1' (reorgVarFile)");

inline constexpr LogText kDeleteOpenForRead = entry(kError, kStorage, "Could not open '%1' for read (deleteDataRecords)");
inline constexpr LogText kDeleteOpenForWrite = entryAtLine(kError, kStorage, "Could not open '%1' for write (deleteDataRecords)", 1717);
inline constexpr LogText kDeleteWriteFailed = entry(kError, kStorage, "Could not write '%1' (deleteDataRecords)");
inline constexpr LogText kRemoveFile = entryAtLine(kError, kStorage, "Could not remove '%1'", 1754);
inline constexpr LogText kRemoveVarFile = entryAtLine(kError, kStorage, "Could not remove '%1'", 1760);

inline constexpr LogText kEngineException = entry(kWarning, kEngine, "Interpolate exception '%1'");
inline constexpr LogText kFinalizeException = entry(kWarning, kEngine, "Interpolate finalize exception '%1'");
// Kept: both texts have no closing parenthesis.
inline constexpr LogText kResultIsNaN = entry(kWarning, kEngine, "Interval double value is NaN (TS:%1");
inline constexpr LogText kResultIsInf = entry(kWarning, kEngine, "Interval double value is Inf (TS:%1");
inline constexpr LogText kInvalidTargetType = entry(kError, kEngine, "pushIntervalValue: Invalid target value type %1");
inline constexpr LogText kTemplateParseError = entry(kError, kEngine, "Interpolate template: Parse error on '%1': '%2' at offset %3");
// clang-format on

} // namespace LogTexts

/// Sends one line of the table, its placeholders filled with `values` in order.
template <typename... Values>
void logLine(const LogText& text, const Values&... values)
{
    LogMessage message(text.level, QLatin1String(text.format), text.source, text.line);
    (message.arg(QVariant(values)), ...);
    message.endl();
}

} // namespace Kiv::Internal
