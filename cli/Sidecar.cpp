#include "Sidecar.h"

#include "Errors.h"
#include "SeriesType.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>

#include <limits>

namespace Kiv::Cli
{

namespace
{

const QString kTypeKey = QStringLiteral("type");
const QString kMaxFileSizeKey = QStringLiteral("maxFileSize");
const QString kUnitKey = QStringLiteral("unit");
const QString kDescriptionKey = QStringLiteral("description");

} // namespace

int checkedMaxFileSize(qint64 sizeBytes)
{
    if (sizeBytes < 1 || sizeBytes > std::numeric_limits<int>::max())
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--max-file-size: %1 is not between 1 and %2 bytes")
                               .arg(sizeBytes)
                               .arg(std::numeric_limits<int>::max()));
    return static_cast<int>(sizeBytes);
}

Sidecar Sidecar::load(const QString& basePath)
{
    Sidecar sidecar(basePath + QStringLiteral("/series.json"));
    sidecar.m_exists = QFileInfo::exists(sidecar.m_path);
    if (sidecar.m_exists)
        sidecar.read();
    return sidecar;
}

void Sidecar::read()
{
    constexpr qint64 kMaxSizeBytes = 1'000'000;
    QFile file(m_path);
    if (!file.open(QIODevice::ReadOnly))
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("cannot read %1: %2").arg(m_path, file.errorString()));
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.read(kMaxSizeBytes), &error);
    m_entries = document.object();
    QString problem;
    if (error.error != QJsonParseError::NoError)
        problem = QStringLiteral("%1 at character %2").arg(error.errorString()).arg(error.offset + 1);
    else if (!typeWords().contains(typeWord()))
        problem = QStringLiteral("\"type\" is none of ") + typeWords().join(QStringLiteral(", "));
    else if (maxFileSizeBytes() < 1)
        problem = QStringLiteral("\"maxFileSize\" is no number of bytes above 0");
    if (!problem.isEmpty())
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("%1 is damaged: %2; correct it, or remove it and give --type")
                               .arg(m_path, problem));
}

QString Sidecar::typeWord() const
{
    return m_entries.value(kTypeKey).toString();
}

int Sidecar::maxFileSizeBytes() const
{
    const QJsonValue value = m_entries.value(kMaxFileSizeKey);
    return value.isUndefined() ? kDefaultMaxFileSizeBytes : value.toInt(0);
}

QString Sidecar::unit() const
{
    return m_entries.value(kUnitKey).toString();
}

QString Sidecar::description() const
{
    return m_entries.value(kDescriptionKey).toString();
}

void Sidecar::setUnit(const QString& text)
{
    setEntry(kUnitKey, text.isEmpty() ? QJsonValue(QJsonValue::Undefined) : QJsonValue(text));
}

void Sidecar::setDescription(const QString& text)
{
    setEntry(kDescriptionKey, text.isEmpty() ? QJsonValue(QJsonValue::Undefined) : QJsonValue(text));
}

void Sidecar::setTypeWord(const QString& word)
{
    setEntry(kTypeKey, word);
}

void Sidecar::setMaxFileSizeBytes(int sizeBytes)
{
    setEntry(kMaxFileSizeKey, sizeBytes);
}

void Sidecar::setEntry(const QString& key, const QJsonValue& value)
{
    if (m_entries.value(key) == value)
        return;
    // Undefined removes.
    m_entries.insert(key, value);
    m_changed = true;
}

void Sidecar::save()
{
    if (!m_changed)
        return;
    QSaveFile file(m_path);
    const QByteArray text = QJsonDocument(m_entries).toJson(QJsonDocument::Indented);
    // Flushed by itself: the commit does not look whether its own flush found room on the disk.
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.flush() ||
        !file.commit())
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("cannot write %1: %2").arg(m_path, file.errorString()));
    m_changed = false;
    m_exists = true;
}

} // namespace Kiv::Cli
