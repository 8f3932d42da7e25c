#include "SeriesSink.h"

#include <QFile>
#include <QFileInfo>

#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace Kiv::Cli
{

namespace
{

std::optional<SeriesLock> lockExisting(const QString& path, bool isDryRun)
{
    checkSeriesPath(QStringLiteral("--series"), path);
    const QFileInfo base(path);
    if (!base.exists())
        return std::nullopt;
    if (!base.isDir())
        throw CommandError(ExitCode::FileError, QStringLiteral("--series: %1 is not a directory").arg(path));
    if (!isDryRun)
        return SeriesLock(path);
    if (::access(QFile::encodeName(path).constData(), W_OK | X_OK) != 0)
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("--series: this user may not write to %1").arg(path));
    return std::nullopt;
}

} // namespace

SeriesSink::SeriesSink(QString path, const ImportOptions& options)
    : m_path(std::move(path)),
      m_options(options),
      m_lock(lockExisting(m_path, options.isDryRun)),
      m_sidecar(Sidecar::load(m_path)),
      m_type(chooseType(m_path, options, m_sidecar)),
      m_isNew(!QFileInfo::exists(m_path + u'/' + m_type.marker)),
      m_batch(m_type)
{
    updateSidecar();
}

const SeriesType& SeriesSink::chooseType(const QString& path, const ImportOptions& options,
                                         const Sidecar& sidecar)
{
    const SeriesType* const type = findType(path, options.typeWord, sidecar);
    if (!type)
        throw CommandError(ExitCode::Usage, QStringLiteral("%1 is a new series: give --type with one of: %2")
                                                .arg(path, typeWords().join(QStringLiteral(", "))));
    if (!sidecar.exists())
        return *type;
    const SeriesType& ownType = typeOfWord(QStringLiteral("series.json"), sidecar.typeWord());
    if (ownType.word != type->word)
        printWarning(
            QStringLiteral("%1 is a series of type %2; --type %3 stores into its directory %4 all the "
                           "same, and reading that needs --type %3 again")
                .arg(path, ownType.word, type->word, type->marker));
    return *type;
}

void SeriesSink::updateSidecar()
{
    m_maxFileSizeBytes =
        m_options.maxFileSizeBytes > 0 ? m_options.maxFileSizeBytes : m_sidecar.maxFileSizeBytes();
    if (m_sidecar.exists() && m_sidecar.typeWord() != m_type.word)
        return;
    m_sidecar.setTypeWord(m_type.word);
    m_sidecar.setMaxFileSizeBytes(m_maxFileSizeBytes);
}

/// Only with the first samples, so that bad input leaves no trace of a series.
void SeriesSink::createDirectory()
{
    std::error_code error;
    std::filesystem::create_directories(QFile::encodeName(m_path).toStdString(), error);
    if (error)
        throw CommandError(ExitCode::FileError, QStringLiteral("cannot create the directory %1: %2")
                                                    .arg(m_path, QString::fromStdString(error.message())));
    m_lock.emplace(m_path);
    // Somebody may have been faster.
    m_sidecar = Sidecar::load(m_path);
    if (chooseType(m_path, m_options, m_sidecar).word != m_type.word)
        throw CommandError(
            ExitCode::Refused,
            QStringLiteral("%1 was created meanwhile, with another type; import again").arg(m_path));
    updateSidecar();
}

void SeriesSink::openStore()
{
    if (!m_lock)
        createDirectory();
    m_storage = std::make_unique<TSFileStorage>(m_path, m_type.metaType, m_maxFileSizeBytes);
    if (isWrittenAtOnce()) {
        for (const Interpolate::DataRecord& record : m_batch.records())
            checkFloatFile(record.timestamp);
        m_summary.overwrittenCount += m_batch.dropRepeated();
    }
    m_sidecar.save();
}

void SeriesSink::checkFloatFile(qint64 timestampMs)
{
    if (!m_storage)
        m_storage = std::make_unique<TSFileStorage>(m_path, m_type.metaType, m_maxFileSizeBytes);
    const TSFileInfo file = m_storage->findFile(timestampMs);
    if (file.found())
        throw CommandError(
            ExitCode::FileError,
            QStringLiteral("%1 exists already, and float files cannot be added to; import all rows of that "
                           "period at once into a new series, or use --type double")
                .arg(file.filePath()));
}

bool SeriesSink::store(const LibraryLog& log)
{
    if (m_batch.size() == 0)
        return true;
    if (!m_storage)
        openStore();
    TSFileStorage::WriteSummary summary;
    if (!m_batch.write(*m_storage, m_options.noteLate, m_options.keepOld, summary) || log.hasErrors())
        return false;
    m_summary.newCount += summary.newCount;
    m_summary.overwrittenCount += summary.overwrittenCount;
    m_summary.unchangedCount += summary.unchangedCount;
    m_summary.lateCount += summary.lateCount;
    return true;
}

} // namespace Kiv::Cli
