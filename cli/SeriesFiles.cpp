#include "SeriesFiles.h"

#include <QDir>

#include <algorithm>
#include <chrono>
#include <map>
#include <numeric>

namespace Kiv::Cli
{

namespace
{

/// Bytes of a value in its file: floats are stored as doubles, whatever the store's own arithmetic says.
qint64 storedValueSizeBytes(const Series& series)
{
    return isFloat(series.type) ? static_cast<qint64>(sizeof(double)) : series.storage->m_dataLength;
}

std::optional<int> numberOfDigits(const QString& text, qsizetype digitCount)
{
    const bool isNumber = text.size() == digitCount && std::all_of(text.begin(), text.end(), [](QChar digit) {
                              return digit >= u'0' && digit <= u'9';
                          });
    return isNumber ? std::optional(text.toInt()) : std::nullopt;
}

/// Whether names from the year on are those of a period.
bool isPeriod(const QStringList& names)
{
    constexpr std::array<int, kDepthWords.size()> kLeast = {0, 1, 1, 0, 0};
    constexpr std::array<int, kDepthWords.size()> kMost = {9999, 12, 31, 23, 59};
    if (names.size() > static_cast<qsizetype>(kDepthWords.size()))
        return false;
    std::array<int, kDepthWords.size()> fields = kLeast;
    for (std::size_t i = 0; i < static_cast<std::size_t>(names.size()); ++i) {
        const std::optional<int> field = numberOfDigits(names[static_cast<qsizetype>(i)], i == 0 ? 4 : 2);
        if (!field || *field < kLeast[i] || *field > kMost[i])
            return false;
        fields[i] = *field;
    }
    const auto month = std::chrono::month{static_cast<unsigned>(fields[1])};
    const auto day = std::chrono::day{static_cast<unsigned>(fields[2])};
    return std::chrono::year_month_day{std::chrono::year{fields[0]}, month, day}.ok();
}

/// The walk through the directories of one series.
class FileWalk
{
public:
    explicit FileWalk(const Series& series)
        : m_series(series), m_root(series.storage->m_dir), m_hasValueFiles(isVariableLength(series.type))
    {
    }

    SeriesFiles run()
    {
        if (QFileInfo(m_root).isDir())
            walk({});
        assignValueFiles();
        return std::move(m_files);
    }

private:
    QString relative(const QStringList& names) const
    {
        return m_series.type.marker + u'/' + names.join(u'/');
    }

    /// \param above  names from the year on
    void walk(const QStringList& above)
    {
        const QDir directory(m_root + above.join(u'/'));
        const QFileInfoList entries = directory.entryInfoList(
            QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        if (entries.isEmpty() && !above.isEmpty())
            m_files.emptyDirectories += relative(above);
        for (const QFileInfo& entry : entries) {
            const QStringList names = above + QStringList(entry.fileName());
            if (entry.isFile())
                addFile(entry, names);
            else if (entry.isDir() && isPeriod(names) &&
                     names.size() < static_cast<qsizetype>(kDepthWords.size()))
                walk(names);
            else
                m_files.foreign += relative(names);
        }
    }

    void addFile(const QFileInfo& entry, const QStringList& names)
    {
        if (isPeriod(names)) {
            addRecordFile(entry, names);
            return;
        }
        const QString name = names.last();
        const qsizetype stemLength = std::max<qsizetype>(0, name.indexOf(u'.'));
        const QString ending = name.sliced(stemLength);
        QStringList recordNames = names;
        recordNames.last() = name.first(stemLength);
        const bool isBesideRecords = isPeriod(recordNames);
        if (isBesideRecords && m_hasValueFiles && ending == QLatin1String(".var"))
            m_valueFiles[relative(recordNames)] = entry.size();
        else if (isBesideRecords &&
                 (ending == QLatin1String(".reorg") || ending == QLatin1String(".reorg.var")))
            m_files.unfinished += relative(names);
        else
            m_files.foreign += relative(names);
    }

    void addRecordFile(const QFileInfo& entry, const QStringList& names)
    {
        const QString above = names.size() > 1 ? names.first(names.size() - 1).join(u'/') + u'/' : QString();
        const TSFileInfo place(entry, above);
        m_files.records.push_back({place, entry.size(),
                                   m_series.storage->getDataLengthForTimestampOffset(place.getDirDepth()) +
                                       storedValueSizeBytes(m_series),
                                   std::nullopt});
    }

    void assignValueFiles()
    {
        for (SeriesFile& file : m_files.records) {
            const auto found = m_valueFiles.find(relative(calendarNames(file.place)));
            if (found == m_valueFiles.end())
                continue;
            file.varSizeBytes = found->second;
            m_valueFiles.erase(found);
        }
        for (const auto& [path, size] : m_valueFiles)
            m_files.foreign += path + QStringLiteral(".var");
        m_files.foreign.sort();
    }

    const Series& m_series;
    QString m_root;
    bool m_hasValueFiles;
    SeriesFiles m_files;
    std::map<QString, qint64> m_valueFiles; ///< sizes by the path of their record files
};

} // namespace

qint64 SeriesFiles::recordCount() const
{
    return std::accumulate(records.begin(), records.end(), qint64{0},
                           [](qint64 sum, const SeriesFile& file) { return sum + file.recordCount(); });
}

qint64 SeriesFiles::sizeBytes() const
{
    return std::accumulate(records.begin(), records.end(), qint64{0},
                           [](qint64 sum, const SeriesFile& file) { return sum + file.allBytes(); });
}

SeriesFiles listFiles(const Series& series)
{
    return FileWalk(series).run();
}

QStringList calendarNames(const TSFileInfo& place)
{
    return (place.getSubDir() + place.fileName()).split(u'/');
}

QString periodText(const QStringList& calendarNames)
{
    constexpr std::array<const char*, kDepthWords.size()> kBefore = {"", "-", "-", "T", ":"};
    QString text;
    for (std::size_t i = 0; i < static_cast<std::size_t>(calendarNames.size()); ++i)
        text += QLatin1String(kBefore.at(i)) + calendarNames[static_cast<qsizetype>(i)];
    return text;
}

} // namespace Kiv::Cli
