#include "properties/PlainStorage.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <set>

namespace Kiv::Testing
{

namespace
{

bool isEmptyDirectory(const QString& path)
{
    return QFileInfo(path).isDir() &&
           QDir(path)
               .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)
               .isEmpty();
}

QString parentOf(const QString& directory)
{
    return directory.left(directory.lastIndexOf(u'/'));
}

void removeEmptyUpwards(QString directory)
{
    while (isEmptyDirectory(directory) && QDir().rmdir(directory))
        directory = parentOf(directory);
}

void removeLogged(const QString& path, int line)
{
    if (!QFile::remove(path))
        plainLog(2, QStringLiteral("Could not remove '%1'"), {path}, line);
}

} // namespace

void PlainStorage::removeWholeSeries()
{
    const QString directory = m_dir.chopped(1);
    QDir(directory).removeRecursively();
    removeEmptyUpwards(parentOf(directory));
}

bool PlainStorage::deleteDataRecords(qint64 from, qint64 to)
{
    deleteDataRecords(from, to, {});
    deleteDataRecords(from, to, QStringLiteral("P"));
    deleteDataRecords(from, to, QStringLiteral("O"));
    return true;
}

bool PlainStorage::deleteDataRecords(qint64 from, qint64 to, const QString& marker)
{
    std::unique_ptr<PlainStorage> owned;
    PlainStorage* storage = storageForMarker(marker, owned);
    bool fromAdjusted = false;
    bool toAdjusted = false;
    if (!storage || !adjustTimestamps(*storage, from, to, fromAdjusted, toAdjusted))
        return true;
    if (fromAdjusted && toAdjusted) {
        storage->removeWholeSeries();
        return true;
    }
    if (fromAdjusted)
        from = 0;
    const Operation operation(*storage);
    std::vector<PlainPlace> emptied;
    PlainPlace place = storage->findFile(from);
    if (!place.found())
        place = storage->findNextFile(place);
    while (place.found() && storage->eraseFromFile(place, from, to, toAdjusted, emptied))
        place = storage->findNextFile(place);
    std::set<QString> directories;
    for (const PlainPlace& file : emptied) {
        removeLogged(file.path, 1754);
        if (QFile::exists(file.varPath()))
            removeLogged(file.varPath(), 1760);
        directories.insert(file.directory().chopped(1));
    }
    for (const QString& directory : directories)
        removeEmptyUpwards(directory);
    return true;
}

/// \return false when the range ends in this file
bool PlainStorage::eraseFromFile(const PlainPlace& place, qint64 from, qint64 to, bool toAdjusted,
                                 std::vector<PlainPlace>& emptied)
{
    const qint64 baseMs = place.baseMs();
    const int depth = place.depth();
    if (toAdjusted && baseMs >= from) {
        emptied.push_back(place);
        return true;
    }
    QFile file(place.path);
    if (!openForQuery(file, "deleteDataRecords", kAnyLine))
        return true;
    QDataStream stream(&file);
    stream.setVersion(19);
    const qint64 lastMs = readLastRecord(stream, file.size(), baseMs, depth).timestamp;
    file.seek(0);
    if (lastMs <= to && baseMs >= from) {
        emptied.push_back(place);
        return true;
    }
    Records kept;
    bool keptIntact = true;
    while (file.bytesAvailable() >= storedSize(depth)) {
        const Record record = readRecord(stream, baseMs, depth);
        if (record.timestamp >= from && record.timestamp <= to)
            continue;
        kept.push_back(record);
        keptIntact = keptIntact && m_valueIntact;
    }
    file.close();
    if (kept.empty())
        emptied.push_back(place);
    else if (keptIntact)
        rewriteWithout(place, baseMs, kept);
    return lastMs <= to;
}

void PlainStorage::rewriteWithout(const PlainPlace& place, qint64 baseMs, const Records& kept)
{
    QFile file(place.path);
    if (!openFile(file, QIODevice::WriteOnly)) {
        plainLog(2, QStringLiteral("Could not open '%1' for write (deleteDataRecords)"), {place.path}, 1717);
        return;
    }
    QDataStream stream(&file);
    stream.setVersion(19);
    for (const Record& record : kept)
        writeRecord(stream, record, baseMs, place.depth());
    file.close();
    reorgVarFile(place);
}

} // namespace Kiv::Testing
