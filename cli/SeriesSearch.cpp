#include "SeriesSearch.h"

#include "Errors.h"
#include "Interrupt.h"
#include "SeriesType.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

bool isYear(const QString& name)
{
    constexpr qsizetype kDigitCount = 4;
    return name.size() == kDigitCount &&
           std::all_of(name.begin(), name.end(), [](QChar digit) { return digit >= u'0' && digit <= u'9'; });
}

QStringList entriesOf(const QString& path)
{
    return QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                QDir::Name);
}

bool isMarker(const QString& name)
{
    const std::vector<SeriesType>& types = allTypes();
    return std::any_of(types.begin(), types.end(),
                       [&name](const SeriesType& type) { return type.marker == name; });
}

/// Whether a directory holds the records of a series; its name alone could be that of something else.
bool holdsRecords(const QString& path, const QString& name)
{
    const QStringList entries = isMarker(name) ? entriesOf(path) : QStringList();
    return std::any_of(entries.begin(), entries.end(), isYear);
}

/// Whether a directory is the late-write log or the overwrite history of a series.
bool isCompanion(const QString& path, const QString& name)
{
    const QString owner = name.chopped(std::min<qsizetype>(1, name.size()));
    if (!isMarker(owner))
        return false;
    return (name.endsWith(u'P') && holdsRecords(path + QStringLiteral("/L"), QStringLiteral("L"))) ||
           (name.endsWith(u'O') && holdsRecords(path + QStringLiteral("/V"), QStringLiteral("V")));
}

class Search
{
public:
    explicit Search(const QStringList& directories)
    {
        for (const QString& directory : directories)
            m_roots += QFileInfo(directory).canonicalFilePath();
    }

    /// \param path  "" for the present directory
    void visit(const QString& path)
    {
        throwIfInterrupted();
        const QString place = path.isEmpty() ? QStringLiteral(".") : path;
        const QString canonicalPath = QFileInfo(place).canonicalFilePath();
        if (m_visited.contains(canonicalPath))
            return;
        m_visited += canonicalPath;
        if (!QFileInfo(place).isReadable()) {
            printWarning(QStringLiteral("cannot read the directory %1").arg(place));
            return;
        }
        bool isSeries = QFileInfo::exists(place + QStringLiteral("/series.json"));
        QStringList below;
        for (const QString& name : entriesOf(place)) {
            const QString child = path.isEmpty() || path.endsWith(u'/') ? path + name : path + u'/' + name;
            if (holdsRecords(child, name))
                isSeries = true;
            else if (isWorthAVisit(child, name))
                below += child;
        }
        if (isSeries)
            m_found += place;
        for (const QString& child : below)
            visit(child);
    }

    QStringList sorted()
    {
        m_found.sort();
        return m_found;
    }

private:
    bool isWorthAVisit(const QString& path, const QString& name) const
    {
        const QFileInfo info(path);
        if (!info.isDir() || isCompanion(path, name))
            return false;
        if (!info.isSymLink())
            return true;
        // What lies below a root is found there.
        const QString target = info.canonicalFilePath();
        return std::none_of(m_roots.begin(), m_roots.end(), [&target](const QString& root) {
            return target == root || target.startsWith(root.endsWith(u'/') ? root : root + u'/');
        });
    }

    QStringList m_roots;     ///< canonical
    QSet<QString> m_visited; ///< canonical
    QStringList m_found;
};

} // namespace

QStringList findSeries(const QStringList& directories)
{
    for (const QString& directory : directories) {
        if (!QFileInfo(directory).isDir())
            throw CommandError(ExitCode::FileError,
                               QStringLiteral("cannot list %1: no such directory").arg(quoted(directory)));
    }
    Search search(directories);
    for (const QString& directory : directories) {
        const QString path = QDir::cleanPath(directory);
        search.visit(path == QLatin1String(".") ? QString() : path);
    }
    return search.sorted();
}

} // namespace Kiv::Cli
