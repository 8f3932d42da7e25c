#include "Importer.h"

#include "TimeText.h"
#include "ValueText.h"

#include <QDir>
#include <QFileInfo>

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
    Sidecar sidecar = Sidecar::load(seriesPath);
    const QFileInfo base(seriesPath);
    if (base.exists() && !base.isDir())
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("--series: %1 is not a directory").arg(seriesPath));
    return sidecar;
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
      m_sidecar(loadSidecar(options.seriesPath)),
      m_type(chooseType(options, m_sidecar)),
      m_batch(m_type)
{
    chooseFileSize();
}

const SeriesType& Importer::chooseType(const ImportOptions& options, const Sidecar& sidecar)
{
    const SeriesType* const type = findType(options.seriesPath, options.typeWord, sidecar);
    if (!type)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("%1 is a new series: give --type with one of: %2")
                               .arg(options.seriesPath, typeWords().join(QStringLiteral(", "))));
    if (!sidecar.exists())
        return *type;
    const SeriesType& ownType = typeOfWord(QStringLiteral("series.json"), sidecar.typeWord());
    if (ownType.word != type->word)
        printWarning(
            QStringLiteral("%1 is a series of type %2; --type %3 stores into its directory %4 all the "
                           "same, and reading that needs --type %3 again")
                .arg(options.seriesPath, ownType.word, type->word, type->marker));
    return *type;
}

void Importer::chooseFileSize()
{
    m_maxFileSizeBytes =
        m_options.maxFileSizeBytes > 0 ? m_options.maxFileSizeBytes : m_sidecar.maxFileSizeBytes();
    if (m_sidecar.exists() && m_sidecar.typeWord() != m_type.word)
        return;
    m_sidecar.setTypeWord(m_type.word);
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
        takeRow(row);
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
    const std::optional<QByteArrayView> time = m_columns.timeText(row);
    m_hasHeader = !time || !m_timeFormat.parse(*time);
    if (m_hasHeader)
        warnOfDoubtfulHeader(row);
    return m_hasHeader;
}

void Importer::warnOfDoubtfulHeader(const CsvRow& row)
{
    const std::optional<QByteArrayView> value = m_columns.valueText(row);
    if (isVariableLength(m_type) || !value || !parseValue(m_type, *value).problem.isEmpty())
        return;
    printWarning(QStringLiteral("%1, line %2 is taken for a header and not imported, because %3 is no %4")
                     .arg(m_inputLabel, QString::number(row.lineNumber),
                          quoted(QString::fromUtf8(m_columns.timeText(row).value_or(QByteArrayView()))),
                          m_timeFormat.description()));
}

/// Nothing of a row is taken before all of it is known to be good.
void Importer::takeRow(const CsvRow& row)
{
    const qint64 timestampMs = toTimestamp(row);
    readValue(row);
    if (m_batch.size() >= kBatchRecordCount && !mustBeWrittenAtOnce(m_type))
        flush();
    m_batch.add(timestampMs);
}

qint64 Importer::toTimestamp(const CsvRow& row)
{
    const std::optional<QByteArrayView> text = m_columns.timeText(row);
    if (!text)
        throw BadLine(row.lineNumber, QStringLiteral("%1 (time) is missing; the row has %2")
                                          .arg(m_columns.timeLabel(), cellCount(row)));
    const auto badTime = [&](const QString& problem) {
        return BadLine(
            row.lineNumber,
            QStringLiteral("%1: time %2 ").arg(m_columns.timeLabel(), quoted(QString::fromUtf8(*text))) +
                problem);
    };
    const std::optional<qint64> timestampMs = m_timeFormat.parse(*text);
    if (!timestampMs)
        throw badTime(QStringLiteral("is no ") + m_timeFormat.description());
    if (!isStorableTimestamp(*timestampMs))
        throw badTime(QStringLiteral("is outside the years 0 to 9999"));
    if (!m_warnedOfSeconds && m_timeFormat.mayMeanSeconds(*text, *timestampMs))
        warnOfSeconds(row, *text, *timestampMs);
    return *timestampMs;
}

void Importer::warnOfSeconds(const CsvRow& row, QByteArrayView text, qint64 timestampMs)
{
    m_warnedOfSeconds = true;
    printWarning(
        QStringLiteral("%1, line %2: time '%3' is read as milliseconds, %4; if it counts seconds, import "
                       "again with --time-format s into a new series")
            .arg(m_inputLabel, QString::number(row.lineNumber), QString::fromLatin1(text),
                 formatTime(timestampMs)));
}

void Importer::readValue(const CsvRow& row)
{
    const std::optional<QByteArrayView> text = m_columns.valueText(row);
    if (!text)
        throw BadLine(row.lineNumber, QStringLiteral("%1 (value) is missing; the row has %2")
                                          .arg(m_columns.valueLabel(), cellCount(row)));
    // Blanks around a number mean nothing; in a string they are part of the value.
    const bool keepsBlanks = m_type.metaType == QMetaType::QString;
    const QString problem = m_batch.readValue(keepsBlanks ? *text : text->trimmed());
    if (!problem.isEmpty())
        throw BadLine(row.lineNumber, QStringLiteral("%1: %2 value %3 %4")
                                          .arg(m_columns.valueLabel(), m_type.word,
                                               quoted(QString::fromUtf8(*text)), problem));
}

void Importer::flush()
{
    if (m_batch.size() == 0)
        return;
    const auto rowCount = static_cast<qint64>(m_batch.size());
    openStore();
    writeBatch();
    m_storedRowCount += rowCount;
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
    m_storage = std::make_unique<TSFileStorage>(m_options.seriesPath, m_type.metaType, m_maxFileSizeBytes);
    if (mustBeWrittenAtOnce(m_type))
        prepareFloatBatch();
    m_sidecar.save();
}

void Importer::writeBatch()
{
    TSFileStorage::WriteSummary summary;
    const bool isWritten = m_batch.write(*m_storage, m_options.noteLate, m_options.keepOld, summary);
    if (!isWritten || m_log.hasErrors())
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("the import into %1 stopped at row %2\n%3")
                               .arg(m_options.seriesPath, QString::number(m_readRowCount), storedSoFar()));
    m_summary.newCount += summary.newCount;
    m_summary.overwrittenCount += summary.overwrittenCount;
    m_summary.unchangedCount += summary.unchangedCount;
    m_summary.lateCount += summary.lateCount;
}

void Importer::prepareFloatBatch()
{
    for (const Interpolate::DataRecord& record : m_batch.records()) {
        const TSFileInfo file = m_storage->findFile(record.timestamp);
        if (file.found())
            throw CommandError(
                ExitCode::FileError,
                QStringLiteral("%1 exists already, and float files cannot be added to; import all "
                               "rows of that period at once into a new series, or use --type "
                               "double\n%2")
                    .arg(file.filePath(), storedSoFar()));
    }
    m_summary.overwrittenCount += m_batch.dropRepeated();
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
    const QString header = m_hasHeader ? QStringLiteral(" after the header") : QString();
    const QString late =
        m_options.noteLate ? QStringLiteral(", %1 late").arg(m_summary.lateCount) : QString();
    printMessage(QStringLiteral("%1: %2 read%3, %4 written, %5 overwritten, %6 unchanged%7")
                     .arg(m_inputLabel, counted(m_readRowCount, QStringLiteral("row")), header,
                          counted(m_summary.newCount, QStringLiteral("new timestamp")),
                          QString::number(m_summary.overwrittenCount),
                          QString::number(m_summary.unchangedCount), late));
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
