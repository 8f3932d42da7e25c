#include "Importer.h"

#include "TimeText.h"
#include "ValueText.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace Kiv::Cli
{

namespace
{

constexpr std::size_t kBatchRecordCount = 10'000;

/// The store misses its way in a float file that exists already; only files written in one go are safe.
bool mustBeWrittenAtOnce(const SeriesType& type)
{
    return isFloat(type);
}

QString cellCount(const CsvRow& row)
{
    return counted(static_cast<qint64>(row.cells.size()), QStringLiteral("column"));
}

Sidecar loadSidecar(const QString& seriesPath)
{
    checkSeriesPath(QStringLiteral("--series"), seriesPath);
    return Sidecar::load(seriesPath);
}

/// How many records a series holds in a stretch of time, or in a little more of it.
qint64 countAround(TSFileStorage& storage, qint64 fromMs, qint64 toMs)
{
    return storage.getCount(Interpolate::InterpolateParam(), {},
                            looksSymbolic(fromMs) ? kBeforeSymbols : fromMs,
                            looksSymbolic(toMs) ? kAfterSymbols : toMs, true, false, false);
}

} // namespace

Importer::Importer(const ImportOptions& options, LibraryLog& log)
    : m_options(options),
      m_log(log),
      m_inputLabel(options.fileName == QLatin1String("-") ? QStringLiteral("standard input")
                                                          : options.fileName),
      m_columns(options.timeColumns, options.valueColumn),
      m_timeFormat(options.timeFormat),
      m_separator(parseSeparator(options.separator)),
      m_sidecar(loadSidecar(options.seriesPath))
{
    const QFileInfo base(options.seriesPath);
    if (base.exists() && !base.isDir())
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("--series: %1 is not a directory").arg(options.seriesPath));
    chooseType();
    chooseFileSize();
}

void Importer::chooseType()
{
    m_type = findType(m_options.seriesPath, m_options.typeWord, m_sidecar);
    if (!m_type)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("%1 is a new series: give --type with one of: %2")
                               .arg(m_options.seriesPath, typeWords().join(QStringLiteral(", "))));
    if (!m_sidecar.exists())
        return;
    const SeriesType& ownType = typeOfWord(QStringLiteral("series.json"), m_sidecar.typeWord());
    if (ownType.word != m_type->word)
        printWarning(
            QStringLiteral("%1 is a series of type %2; --type %3 stores into its directory %4 all the "
                           "same, and reading that needs --type %3 again")
                .arg(m_options.seriesPath, ownType.word, m_type->word, m_type->marker));
}

void Importer::chooseFileSize()
{
    m_maxFileSizeBytes =
        m_options.maxFileSizeBytes > 0 ? m_options.maxFileSizeBytes : m_sidecar.maxFileSizeBytes();
    if (m_sidecar.exists() && m_sidecar.typeWord() != m_type->word)
        return;
    m_sidecar.setTypeWord(m_type->word);
    m_sidecar.setMaxFileSizeBytes(m_maxFileSizeBytes);
}

ExitCode Importer::run(QIODevice& input)
{
    m_elapsed.start();
    CsvReader reader(input, m_separator);
    try {
        readRows(reader);
    } catch (const BadLine& error) {
        clearProgress();
        throw CommandError(ExitCode::BadData, QStringLiteral("%1, line %2: %3\n%4")
                                                  .arg(m_inputLabel, QString::number(error.lineNumber()),
                                                       error.text(), storedSoFar()));
    } catch (...) {
        clearProgress();
        throw;
    }
    clearProgress();
    if (m_readRowCount == 0)
        throw CommandError(ExitCode::NothingFound, QStringLiteral("%1 holds no rows").arg(m_inputLabel));
    printSummary();
    return ExitCode::Good;
}

void Importer::readRows(CsvReader& reader)
{
    CsvRow row;
    bool isFirst = true;
    while (reader.next(row)) {
        const bool isHeader = isFirst && takeHeader(row);
        isFirst = false;
        if (isHeader)
            continue;
        ++m_readRowCount;
        add(toRecord(row));
    }
    flush();
}

bool Importer::takeHeader(const CsvRow& row)
{
    if (m_columns.needHeader()) {
        m_columns.resolve(row, m_inputLabel);
        m_hasHeader = true;
        return true;
    }
    const std::optional<QByteArray> time = m_columns.timeText(row);
    m_hasHeader = !time || !m_timeFormat.parse(*time);
    if (m_hasHeader)
        warnOfDoubtfulHeader(row);
    return m_hasHeader;
}

void Importer::warnOfDoubtfulHeader(const CsvRow& row) const
{
    const std::optional<QByteArray> value = m_columns.valueText(row);
    if (isVariableLength(*m_type) || !value || !parseValue(*m_type, *value).problem.isEmpty())
        return;
    printWarning(QStringLiteral("%1, line %2 is taken for a header and not imported, because %3 is no %4")
                     .arg(m_inputLabel, QString::number(row.lineNumber),
                          quoted(QString::fromUtf8(m_columns.timeText(row).value_or(QByteArray()))),
                          m_timeFormat.description()));
}

qint64 Importer::toTimestamp(const CsvRow& row)
{
    const std::optional<QByteArray> text = m_columns.timeText(row);
    if (!text)
        throw BadLine(row.lineNumber, QStringLiteral("%1 (time) is missing; the row has %2")
                                          .arg(m_columns.timeLabel(), cellCount(row)));
    const std::optional<qint64> timestampMs = m_timeFormat.parse(*text);
    const QString place =
        QStringLiteral("%1: time %2 ").arg(m_columns.timeLabel(), quoted(QString::fromUtf8(*text)));
    if (!timestampMs)
        throw BadLine(row.lineNumber, place + QStringLiteral("is no ") + m_timeFormat.description());
    if (!isStorableTimestamp(*timestampMs))
        throw BadLine(row.lineNumber, place + QStringLiteral("is outside the years 0 to 9999"));
    if (!m_warnedOfSeconds && m_timeFormat.mayMeanSeconds(*text))
        warnOfSeconds(row, *text, *timestampMs);
    return *timestampMs;
}

void Importer::warnOfSeconds(const CsvRow& row, const QByteArray& text, qint64 timestampMs)
{
    m_warnedOfSeconds = true;
    printWarning(
        QStringLiteral("%1, line %2: time '%3' is read as milliseconds, %4; if it counts seconds, import "
                       "again with --time-format s into a new series")
            .arg(m_inputLabel, QString::number(row.lineNumber), QString::fromLatin1(text),
                 formatTime(timestampMs)));
}

Interpolate::DataRecord Importer::toRecord(const CsvRow& row)
{
    const qint64 timestampMs = toTimestamp(row);
    const std::optional<QByteArray> text = m_columns.valueText(row);
    if (!text)
        throw BadLine(row.lineNumber, QStringLiteral("%1 (value) is missing; the row has %2")
                                          .arg(m_columns.valueLabel(), cellCount(row)));
    // Blanks around a number mean nothing; in a string they are part of the value.
    const bool keepsBlanks = m_type->metaType == QMetaType::QString;
    ParsedValue parsed = parseValue(*m_type, keepsBlanks ? *text : text->trimmed());
    if (!parsed.problem.isEmpty())
        throw BadLine(row.lineNumber, QStringLiteral("%1: %2 value %3 %4")
                                          .arg(m_columns.valueLabel(), m_type->word,
                                               quoted(QString::fromUtf8(*text)), parsed.problem));
    return {timestampMs, std::move(parsed.value)};
}

void Importer::add(Interpolate::DataRecord record)
{
    if (m_batch.size() >= kBatchRecordCount && !mustBeWrittenAtOnce(*m_type))
        flush();
    m_batch.push_back(std::move(record));
}

void Importer::flush()
{
    if (m_batch.empty())
        return;
    const auto rowCount = static_cast<qint64>(m_batch.size());
    openStore();
    writeBatch();
    m_storedRowCount += rowCount;
    m_batch.clear();
    showProgress();
}

void Importer::openStore()
{
    if (m_storage)
        return;
    // Only now, so that bad input leaves no trace of a series.
    if (!QDir().mkpath(m_options.seriesPath))
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("cannot create the directory %1").arg(m_options.seriesPath));
    m_storage = std::make_unique<TSFileStorage>(m_options.seriesPath, m_type->metaType, m_maxFileSizeBytes);
    if (mustBeWrittenAtOnce(*m_type))
        prepareFloatBatch();
    m_sidecar.save();
}

void Importer::writeBatch()
{
    const auto [earliest, latest] =
        std::minmax_element(m_batch.begin(), m_batch.end(), [](const auto& left, const auto& right) {
            return left.timestamp < right.timestamp;
        });
    const qint64 fromMs = earliest->timestamp;
    const qint64 toMs = latest->timestamp;
    const bool countsByBatch = mustBeWrittenAtOnce(*m_type);
    const auto batchCount = static_cast<qint64>(m_batch.size());
    const qint64 countBefore = countsByBatch ? 0 : countAround(*m_storage, fromMs, toMs);
    const bool isWritten =
        m_storage->writeDataRecords(std::move(m_batch), m_options.noteLate, m_options.keepOld);
    m_batch = {};
    if (!isWritten || m_log.hasErrors())
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("the import into %1 stopped at row %2\n%3")
                               .arg(m_options.seriesPath, QString::number(m_readRowCount), storedSoFar()));
    m_newTimestampCount += countsByBatch ? batchCount : countAround(*m_storage, fromMs, toMs) - countBefore;
}

void Importer::prepareFloatBatch()
{
    for (const Interpolate::DataRecord& record : m_batch) {
        const TSFileInfo file = m_storage->findFile(record.timestamp);
        if (file.found())
            throw CommandError(
                ExitCode::FileError,
                QStringLiteral("%1 exists already, and float files cannot be added to; import all "
                               "rows of that period at once into a new series, or use --type "
                               "double\n%2")
                    .arg(file.filePath(), storedSoFar()));
    }
    // Of equal timestamps the greatest value stays, as in every batch.
    std::stable_sort(m_batch.begin(), m_batch.end());
    const auto keptFromBack =
        std::unique(m_batch.rbegin(), m_batch.rend(),
                    [](const auto& left, const auto& right) { return left.timestamp == right.timestamp; });
    m_droppedDuplicateCount = std::distance(m_batch.begin(), keptFromBack.base());
    m_batch.erase(m_batch.begin(), keptFromBack.base());
}

void Importer::showProgress()
{
    constexpr qint64 kQuietMs = 1000;
    if (m_elapsed.elapsed() < kQuietMs || !::isatty(STDERR_FILENO))
        return;
    std::fprintf(stderr, "\rkivts: %lld rows stored", static_cast<long long>(m_storedRowCount));
    std::fflush(stderr);
    m_progressShown = true;
}

void Importer::clearProgress() const
{
    if (m_progressShown)
        std::fputs("\r\033[K", stderr);
}

void Importer::printSummary() const
{
    const qint64 overwrittenCount = m_log.overwrittenCount() + m_droppedDuplicateCount;
    const qint64 knownCount = m_readRowCount - m_newTimestampCount;
    const QString header = m_hasHeader ? QStringLiteral(" after the header") : QString();
    // The store tells of overwritten values only where they are numbers.
    const QString known = isVariableLength(*m_type)
                              ? QStringLiteral("%1 overwritten or unchanged").arg(knownCount)
                              : QStringLiteral("%1 overwritten, %2 unchanged")
                                    .arg(overwrittenCount)
                                    .arg(knownCount - overwrittenCount);
    printMessage(QStringLiteral("%1: %2 read%3, %4 written, %5")
                     .arg(m_inputLabel, counted(m_readRowCount, QStringLiteral("row")), header,
                          counted(m_newTimestampCount, QStringLiteral("new timestamp")), known));
}

QString Importer::storedSoFar() const
{
    if (m_storedRowCount == 0)
        return QStringLiteral("nothing was stored; correct the cause and import again");
    return QStringLiteral(
               "the first %1 rows are stored, none of the rest; correct the cause and import again, "
               "rows already stored do no harm")
        .arg(m_storedRowCount);
}

} // namespace Kiv::Cli
