#include "Importer.h"

#include "CsvReader.h"
#include "JsonRowReader.h"
#include "TimeText.h"
#include "ValueText.h"

#include <algorithm>
#include <utility>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kNamedBadRowCount = 10;

QString cellCount(const CsvRow& row)
{
    return counted(static_cast<qint64>(row.cells.size()), QStringLiteral("column"));
}

QString secondsText(double seconds)
{
    return QString::number(seconds, 'f', seconds < 1 ? 3 : 1);
}

} // namespace

Importer::Importer(const ImportOptions& options, LibraryLog& log, qint64 totalSizeBytes)
    : m_options(options),
      m_timeFormat(options.timeFormat),
      m_sinks(m_options, log),
      m_progress(QStringLiteral("row"), totalSizeBytes)
{
    for (const QString& name : options.fileNames) {
        const InputFormat format = inputFormatOf(options.formatWord, name);
        parseSeparator(options.separator, format);
        m_columns.emplace(options, format == InputFormat::Ndjson);
    }
    if (!m_columns->isWide() && !m_columns->hasSeries())
        m_only = &m_sinks.only();
    else
        checkSeriesPath(QStringLiteral("--series"), options.seriesPath);
}

void Importer::take(QIODevice& input, const QString& name)
{
    m_label = name == QLatin1String("-") ? QStringLiteral("standard input") : name;
    m_format = inputFormatOf(m_options.formatWord, name);
    m_columns.emplace(m_options, m_format == InputFormat::Ndjson);
    m_rowCount = 0;
    const qint64 before = m_rejectedCount;
    m_isBeforeFirst = true;
    std::unique_ptr<RowReader> reader;
    if (m_format == InputFormat::Ndjson)
        reader = std::make_unique<JsonRowReader>(input, m_columns->keys());
    else
        reader = std::make_unique<CsvReader>(input, parseSeparator(m_options.separator, m_format));
    guarded([&] { readRows(*reader); });
    m_goodRowCount += m_rowCount;
    m_earlierSizeBytes += reader->readSizeBytes();
    if (m_rowCount + m_rejectedCount == before && m_options.fileNames.size() > 1)
        printWarning(QStringLiteral("%1 holds no rows").arg(m_label));
}

ExitCode Importer::finish()
{
    if (m_goodRowCount + m_rejectedCount == 0)
        throw CommandError(ExitCode::NothingFound, QStringLiteral("%1 holds no rows").arg(sourceLabel()));
    guarded([this] { m_sinks.storeAll(); });
    m_progress.clear();
    if (m_options.isDryRun)
        printDryRunSummary();
    else
        printSummary();
    if (m_rejectedCount > 0)
        warnOfRejected();
    return m_goodRowCount == 0 ? ExitCode::BadData : ExitCode::Good;
}

/// Whatever ends the import, its message says what is stored.
void Importer::guarded(const std::function<void()>& work)
{
    try {
        work();
    } catch (const BadLine& error) {
        throw CommandError(ExitCode::BadData, QStringLiteral("%1, line %2: %3\n%4")
                                                  .arg(m_label, QString::number(error.lineNumber()),
                                                       error.text(), storedSoFar()));
    } catch (const CommandError& error) {
        if (error.code() == ExitCode::Interrupted)
            throw interruptedError();
        if (error.code() == ExitCode::Usage && m_sinks.storedCount() == 0)
            throw;
        throw CommandError(error.code(), error.text() + u'\n' + storedSoFar());
    }
}

CommandError Importer::interruptedError()
{
    if (!m_options.isDryRun)
        guarded([this] { m_sinks.storeWaiting(); });
    const qint64 storedCount = m_sinks.storedCount();
    if (storedCount == 0)
        return {ExitCode::Interrupted, QStringLiteral("interrupted; nothing was stored")};
    return {ExitCode::Interrupted,
            QStringLiteral(
                "interrupted; %1 of the %2 read so far are stored, and what is stored is whole; import "
                "again to complete it, which does no harm")
                .arg(storedCount)
                .arg(counted(m_sampleCount, QStringLiteral("sample")))};
}

void Importer::readRows(RowReader& reader)
{
    constexpr qint64 kRowsBetweenUpdates = 4096;
    CsvRow row;
    while (takeNext(reader, row)) {
        if (m_rowCount % kRowsBetweenUpdates == 0)
            m_progress.update(m_goodRowCount + m_rowCount, m_earlierSizeBytes + reader.readSizeBytes());
    }
}

/// \return false at the end
bool Importer::takeNext(RowReader& reader, CsvRow& row)
{
    try {
        if (!reader.next(row))
            return false;
        if (std::exchange(m_isBeforeFirst, false) && takeHeader(row))
            return true;
        takeRow(row);
        ++m_rowCount;
    } catch (const BadLine& badLine) {
        // What the columns mean depends on the first line.
        if (!m_options.skipsBadRows || badLine.isLast() || m_isBeforeFirst)
            throw;
        reject(badLine);
    }
    return true;
}

void Importer::reject(const BadLine& badLine)
{
    if (++m_rejectedCount > kNamedBadRowCount)
        return;
    m_progress.clear();
    printWarning(QStringLiteral("%1, line %2: %3")
                     .arg(m_label, QString::number(badLine.lineNumber()), badLine.text()));
}

bool Importer::takeHeader(const CsvRow& row)
{
    if (m_columns->needHeader()) {
        m_columns->resolve(row, m_label);
        m_hasHeader = m_hasHeader || m_format != InputFormat::Ndjson;
        if (m_columns->isWide())
            openWideSeries();
        return true;
    }
    const std::optional<QByteArrayView> time = m_columns->timeText(row);
    if (time && m_timeFormat.parse(*time))
        return false;
    m_hasHeader = true;
    warnOfDoubtfulHeader(row);
    return true;
}

void Importer::openWideSeries()
{
    const std::size_t count = m_columns->valueCount();
    if (count > SeriesSinks::kMaxOpenCount)
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("--wide: %1 has %2 value columns, and %3 can be imported at once; choose "
                           "some with --value-col")
                .arg(m_label)
                .arg(count)
                .arg(SeriesSinks::kMaxOpenCount));
    m_wideSinks.clear();
    for (std::size_t i = 0; i < count; ++i) {
        QString problem;
        SeriesSink* const sink = m_sinks.find(m_columns->valueName(i).toUtf8(), problem);
        if (!sink)
            throw CommandError(ExitCode::Usage, QStringLiteral("%1: %2 cannot be the name of a series: it %3")
                                                    .arg(m_label, m_columns->valueLabel(i), problem));
        m_wideSinks.push_back(sink);
    }
}

void Importer::warnOfDoubtfulHeader(const CsvRow& row)
{
    const std::optional<QByteArrayView> value = m_columns->valueText(row);
    if (!m_only || isVariableLength(m_only->type()) || !value ||
        !parseValue(m_only->type(), *value).problem.isEmpty())
        return;
    printWarning(QStringLiteral("%1, line %2 is taken for a header and not imported, because %3 is no %4")
                     .arg(m_label, QString::number(row.lineNumber),
                          quoted(QString::fromUtf8(m_columns->timeText(row).value_or(QByteArrayView()))),
                          m_timeFormat.description()));
}

/// Nothing of a row is taken before all of it is known to be good.
void Importer::takeRow(const CsvRow& row)
{
    const qint64 timestampMs = toTimestamp(row);
    if (m_columns->isWide()) {
        takeWideRow(row, timestampMs);
        return;
    }
    SeriesSink& sink = m_only ? *m_only : sinkOf(row);
    readValue(sink, row, 0);
    keep(sink, timestampMs, m_columns->valueText(row)->size());
}

/// An empty cell is no sample.
void Importer::takeWideRow(const CsvRow& row, qint64 timestampMs)
{
    m_filledCells.clear();
    for (std::size_t i = 0; i < m_wideSinks.size(); ++i) {
        const std::optional<QByteArrayView> text = m_columns->valueText(row, i);
        if (text && text->isNull())
            continue;
        readValue(*m_wideSinks[i], row, i);
        m_filledCells.push_back(i);
    }
    for (const std::size_t i : m_filledCells)
        keep(*m_wideSinks[i], timestampMs, m_columns->valueText(row, i)->size());
}

SeriesSink& Importer::sinkOf(const CsvRow& row)
{
    const std::optional<QByteArrayView> text = m_columns->seriesText(row);
    if (!text)
        throw BadLine(row.lineNumber, QStringLiteral("%1 (series) is missing; the row has %2")
                                          .arg(m_columns->seriesLabel(), cellCount(row)));
    QString problem;
    SeriesSink* const sink = m_sinks.find(text->trimmed(), problem);
    if (!sink)
        throw BadLine(row.lineNumber,
                      QStringLiteral("%1: series name %2 %3")
                          .arg(m_columns->seriesLabel(), quoted(QString::fromUtf8(*text)), problem));
    return *sink;
}

qint64 Importer::toTimestamp(const CsvRow& row)
{
    const std::optional<QByteArrayView> text = m_columns->timeText(row);
    if (!text)
        throw BadLine(row.lineNumber, QStringLiteral("%1 (time) is missing; the row has %2")
                                          .arg(m_columns->timeLabel(), cellCount(row)));
    const auto badTime = [&](const QString& problem) {
        return BadLine(
            row.lineNumber,
            QStringLiteral("%1: time %2 ").arg(m_columns->timeLabel(), quoted(QString::fromUtf8(*text))) +
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
            .arg(m_label, QString::number(row.lineNumber), QString::fromLatin1(text),
                 formatTime(timestampMs)));
}

void Importer::readValue(SeriesSink& sink, const CsvRow& row, std::size_t value)
{
    const std::optional<QByteArrayView> text = m_columns->valueText(row, value);
    if (!text)
        throw BadLine(row.lineNumber, QStringLiteral("%1 (value) is missing; the row has %2")
                                          .arg(m_columns->valueLabel(value), cellCount(row)));
    // Blanks around a number mean nothing; in a string they are part of the value.
    const bool keepsBlanks = sink.type().metaType == QMetaType::QString;
    const QString problem = sink.readValue(keepsBlanks ? *text : text->trimmed());
    if (!problem.isEmpty())
        throw BadLine(row.lineNumber, QStringLiteral("%1: %2 value %3 %4")
                                          .arg(m_columns->valueLabel(value), sink.type().word,
                                               quoted(QString::fromUtf8(*text)), problem));
}

void Importer::keep(SeriesSink& sink, qint64 timestampMs, qsizetype sizeBytes)
{
    ++m_sampleCount;
    if (!m_options.isDryRun) {
        m_sinks.add(sink, timestampMs, sizeBytes);
        return;
    }
    if (sink.isWrittenAtOnce() && !sink.isNew())
        sink.checkFloatFile(timestampMs);
    m_firstMs = std::min(m_firstMs, timestampMs);
    m_lastMs = std::max(m_lastMs, timestampMs);
}

QString Importer::sourceLabel() const
{
    return m_options.fileNames.size() == 1 ? m_label
                                           : QStringLiteral("%1 files").arg(m_options.fileNames.size());
}

QString Importer::rejectedText() const
{
    return m_options.skipsBadRows
               ? QStringLiteral(", %1 rejected").arg(counted(m_rejectedCount, QStringLiteral("row")))
               : QString();
}

void Importer::warnOfRejected() const
{
    const QString named = m_rejectedCount > kNamedBadRowCount
                              ? QStringLiteral("the first %1 are named above").arg(kNamedBadRowCount)
                              : QStringLiteral("named above");
    printWarning(
        QStringLiteral("%1 rejected, %2; correct them and import again, which does no harm to the rest")
            .arg(counted(m_rejectedCount, QStringLiteral("row")), named));
}

void Importer::printSummary()
{
    const TSFileStorage::WriteSummary summary = m_sinks.summary();
    const double seconds = m_progress.elapsedSeconds();
    QString text = QStringLiteral("%1: %2 imported")
                       .arg(sourceLabel(), counted(m_sampleCount, QStringLiteral("sample")));
    if (!m_only)
        text += QStringLiteral(" into %1 series").arg(m_sinks.seriesCount());
    if (m_hasHeader)
        text += QStringLiteral(" after the header");
    text += QStringLiteral(", %1 new, %2 overwritten, %3 unchanged")
                .arg(summary.newCount)
                .arg(summary.overwrittenCount)
                .arg(summary.unchangedCount);
    text += rejectedText();
    if (m_options.noteLate)
        text += QStringLiteral(", %1 late").arg(summary.lateCount);
    printMessage(text +
                 QStringLiteral(", in %1 s, %2 samples/s")
                     .arg(secondsText(seconds), shortNumber(static_cast<double>(m_sampleCount) / seconds)));
}

void Importer::printDryRunSummary()
{
    QString text = QStringLiteral("dry run, nothing stored: %1: %2 for %3 series")
                       .arg(sourceLabel(), counted(m_sampleCount, QStringLiteral("good sample")))
                       .arg(m_sinks.seriesCount());
    text += QStringLiteral(", %1 new").arg(m_sinks.newSeriesCount());
    if (m_sampleCount > 0)
        text += QStringLiteral(", from %1 to %2").arg(formatTime(m_firstMs), formatTime(m_lastMs));
    printMessage(text + rejectedText());
}

QString Importer::storedSoFar() const
{
    if (m_sinks.storedCount() == 0)
        return QStringLiteral("nothing was stored; correct the cause and import again");
    return QStringLiteral("%1 of the %2 read so far are stored; correct the cause and import again, what is "
                          "stored already does no harm")
        .arg(m_sinks.storedCount())
        .arg(counted(m_sampleCount, QStringLiteral("sample")));
}

} // namespace Kiv::Cli
