#include "properties/StorageDamage.h"

#include "support/SeriesForTest.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>

#include <algorithm>
#include <array>

namespace Kiv::Testing
{

namespace
{

using Kind = StorageStep::Kind;

/// Regular files of a tree, sorted; either the ".var" files or the others.
QStringList regularFiles(const QString& directory, bool varFiles)
{
    QStringList paths;
    QDirIterator walk(directory, QDir::Files, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QString path = walk.next();
        if (path.endsWith(QStringLiteral(".var")) == varFiles)
            paths.append(path);
    }
    paths.sort();
    return paths;
}

QStringList directoriesBelow(const QString& directory)
{
    QStringList paths{directory};
    QDirIterator walk(directory, QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (walk.hasNext())
        paths.append(walk.next());
    paths.sort();
    return paths;
}

void damageRecordFile(const StorageStep& step, const QString& series, const PlainStorage& layout)
{
    const QStringList files = regularFiles(series, false);
    if (files.isEmpty())
        return;
    const QString path = files[step.pick % files.size()];
    if (step.kind == Kind::EmptyFile) {
        writeFile(path);
        return;
    }
    const int depth = std::min(static_cast<int>(path.mid(series.size() + 1).count(u'/')), 4);
    const qint64 tornBytes = 1 + step.amount % (layout.recordSize(depth) - 1);
    const qint64 wholeBytes = QFileInfo(path).size() / layout.storedSize(depth) * layout.storedSize(depth);
    QFile::resize(path, wholeBytes); // a tail that is torn already does not grow into a record
    appendToFile(path, step.garbage.left(tornBytes));
}

/// Something that cannot be read takes the place of a file: one time in three a pipe, else a directory.
void blockPath(const StorageStep& step, const QString& path)
{
    if (step.amount % 3 == 0)
        makeFifo(path);
    else
        makeDirectory(path);
}

void damageVarFile(const StorageStep& step, const QString& series)
{
    const QStringList files = regularFiles(series, true);
    if (files.isEmpty())
        return;
    const QString path = files[step.pick % files.size()];
    if (step.kind == Kind::DropVar || step.kind == Kind::BlockVar) {
        QFile::remove(path);
        if (step.kind == Kind::BlockVar)
            blockPath(step, path);
        return;
    }
    QByteArray bytes = readFile(path);
    const qint64 position = step.amount % (bytes.size() + 1);
    if (step.kind == Kind::TruncateVar) {
        bytes.truncate(position);
    } else {
        const qint64 byteCount = std::min<qint64>(1 + step.pick % 3, bytes.size() - position);
        std::fill_n(bytes.begin() + position, byteCount, static_cast<char>(step.pick % 2 ? 0xff : 0));
    }
    writeFile(path, bytes);
}

void addStrayEntry(const StorageStep& step, const QString& series, const PlainStorage& layout)
{
    const QStringList directories = directoriesBelow(series);
    const QString below = directories[step.pick % directories.size()] + u'/';
    const std::array<const char*, 7> files{"tmp1", "ab", ".hidden", ".h", "2024x", "longer name", "00"};
    const std::array<const char*, 6> emptyDirectories{"tmp1", "ab", ".h", "tmpdir", "2031", "07"};
    const qint64 which = step.amount % 18;
    if (which < 7) {
        const QString path = below + QLatin1String(files[static_cast<std::size_t>(which)]);
        if (!QFileInfo::exists(path))
            writeFile(path, step.garbage);
    } else if (which < 13) {
        QDir(below).mkpath(QLatin1String(emptyDirectories[static_cast<std::size_t>(which - 7)]));
    } else if (which == 13) {
        // A directory where the record file of a minute would be.
        QDir(series).mkpath(QStringLiteral("2024/05/17/13/45"));
    } else if (which == 14) {
        QFile::link(QStringLiteral("nowhere"), below + QStringLiteral("tmp2"));
    } else if (which == 15) {
        const QString path = below + QStringLiteral("zz");
        if (!QFileInfo::exists(path))
            makeFifo(path);
    } else {
        const QStringList records = regularFiles(series, false);
        const QString path =
            records.isEmpty() ? below + QStringLiteral("2024") : records[step.pick % records.size()];
        if (!layout.isVariable())
            writeFile(path + QStringLiteral(".var"), step.garbage.repeated(which == 16 ? 1 : 100));
    }
}

} // namespace

void damage(const StorageStep& step, const QString& series, const PlainStorage& layout)
{
    if (step.kind == Kind::PlaceFile) {
        writeFile(series + u'/' + step.place, step.garbage);
        return;
    }
    if (!QFileInfo(series).isDir())
        return;
    if (step.kind == Kind::StrayEntry)
        addStrayEntry(step, series, layout);
    else if (step.kind == Kind::TearTail || step.kind == Kind::EmptyFile)
        damageRecordFile(step, series, layout);
    else
        damageVarFile(step, series);
}

} // namespace Kiv::Testing
