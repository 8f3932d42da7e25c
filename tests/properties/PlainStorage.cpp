#include "properties/PlainStorage.h"

#include "internal/Seams.h"

#include <Kiv/Logger.h>

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace Kiv::Testing
{

namespace
{

QString markerFor(QMetaType::Type type)
{
    switch (type) {
    case QMetaType::Bool:
    case QMetaType::Char:
    case QMetaType::UChar:
        return QStringLiteral("B");
    case QMetaType::Short:
    case QMetaType::UShort:
        return QStringLiteral("W");
    case QMetaType::Int:
    case QMetaType::UInt:
        return QStringLiteral("I");
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return QStringLiteral("L");
    case QMetaType::Float:
        return QStringLiteral("F");
    case QMetaType::Double:
        return QStringLiteral("D");
    default:
        return QStringLiteral("V");
    }
}

int dataLengthFor(const QString& marker)
{
    if (marker == u'B')
        return 1;
    if (marker == u'W')
        return 2;
    if (marker == u'L' || marker == u'D')
        return 8;
    return 4;
}

int offsetWidth(int depth)
{
    constexpr int kWidths[] = {5, 4, 4, 3, 2};
    return depth >= 0 && depth <= 4 ? kWidths[depth] : 0;
}

QString modeText(QIODevice::OpenMode mode)
{
    const char* const names[] = {"Read,", "Write,",      "Append,",  "Truncate,",
                                 "Text,", "Unbuffered,", "NewOnly,", "ExistingOnly,"};
    QString text;
    for (int bit = 0; bit < 8; ++bit) {
        if (mode.toInt() & (1 << bit))
            text += QLatin1String(names[bit]);
    }
    return text;
}

} // namespace

void plainLog(unsigned char level, const QString& format, std::initializer_list<QVariant> values, int line)
{
    LogMessage message(level, format, "src/TSFileStorage", line);
    for (const QVariant& value : values)
        message.arg(value);
    message.endl();
}

bool plainOrder(const Record& left, const Record& right)
{
    if (left.timestamp != right.timestamp)
        return left.timestamp < right.timestamp;
    const double a = left.value.toDouble();
    const double b = right.value.toDouble();
    if (std::isnan(a))
        return false;
    return std::isnan(b) || a < b;
}

qint64 plainNowUs()
{
    return Internal::seams().nowMicroseconds();
}

PlainStorage::PlainStorage(QString path, QMetaType::Type valueType, int maxFileSize)
    : PlainStorageTree((path.endsWith(u'/') ? path : path + u'/') + markerFor(valueType) + u'/'),
      m_valueType(valueType),
      m_marker(markerFor(valueType)),
      m_dataLength(dataLengthFor(m_marker)),
      m_maxFileSize(maxFileSize)
{
}

PlainStorage PlainStorage::lateWriteLog() const
{
    return {m_dir.chopped(1) + QStringLiteral("P/"), QMetaType::LongLong, m_maxFileSize};
}

PlainStorage PlainStorage::overwriteHistory() const
{
    return {m_dir.chopped(1) + QStringLiteral("O/"), QMetaType::QVariant, m_maxFileSize};
}

PlainStorage* PlainStorage::storageForMarker(const QString& marker, std::unique_ptr<PlainStorage>& owned)
{
    if (marker.isEmpty())
        return QDir(m_dir).exists() ? this : nullptr;
    if (marker != u'P' && marker != u'O')
        return nullptr;
    const QString directory = m_dir.chopped(1) + marker + u'/';
    if (!QDir(directory).exists())
        return nullptr;
    const QMetaType::Type type = marker == u'P' ? QMetaType::LongLong : QMetaType::QVariant;
    owned = std::make_unique<PlainStorage>(directory, type, m_maxFileSize);
    return owned.get();
}

int PlainStorage::recordSize(int depth) const
{
    return offsetWidth(depth) + m_dataLength;
}

int PlainStorage::storedSize(int depth) const
{
    return isFloat() ? offsetWidth(depth) + 8 : recordSize(depth);
}

bool PlainStorage::tryOpen(QFile& file, QIODevice::OpenMode mode, int attempt)
{
    if (file.open(mode))
        return true;
    plainLog(4, QStringLiteral("File open failed (%1) on '%2', attempt %3"),
             {modeText(mode), file.fileName(), attempt}, 140);
    return false;
}

bool PlainStorage::openFile(QFile& file, QIODevice::OpenMode mode)
{
    for (int attempt = 1;; ++attempt) {
        if (tryOpen(file, mode, attempt))
            return true;
        if (attempt == 6)
            return false;
        Internal::seams().sleep(1);
    }
}

bool PlainStorage::openCompanion(QFile& file, QIODevice::OpenMode mode)
{
    const QFileInfo info(file);
    if (info.exists() && !info.isFile() && !info.isDir())
        return false; // a pipe would never answer
    if (m_exhausted.count(file.fileName()))
        return tryOpen(file, mode, 1);
    if (openFile(file, mode))
        return true;
    m_exhausted.insert(file.fileName());
    return false;
}

} // namespace Kiv::Testing
