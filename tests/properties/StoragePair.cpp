#include "properties/StoragePair.h"

#include "properties/StorageDamage.h"
#include "support/SeriesForTest.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>

namespace Kiv::Testing
{

namespace
{

using Kind = StorageStep::Kind;

constexpr const char* kSeriesBelow = "/plant/tag";

std::string contentOf(const std::filesystem::path& path)
{
    std::string bytes;
    if (std::FILE* file = std::fopen(path.c_str(), "rb")) {
        std::array<char, 4096> block;
        while (const std::size_t count = std::fread(block.data(), 1, block.size(), file))
            bytes.append(block.data(), count);
        std::fclose(file);
    }
    return bytes;
}

using Tree = std::map<std::string, std::string>;

/// Every entry below a directory, hidden ones too: the bytes of files, a sign for directories.
Tree treeOf(const QString& root)
{
    const std::string rootPath = root.toStdString();
    Tree tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(rootPath)) {
        const std::string below = entry.path().string().substr(rootPath.size());
        const bool readable = !entry.is_symlink() && entry.is_regular_file();
        tree[below] = readable ? contentOf(entry.path()) : entry.is_directory() ? "(directory)" : "(special)";
    }
    return tree;
}

QString overwrittenText(const std::map<qint64, QVariant>& values)
{
    QString text;
    for (const auto& [timestamp, value] : values)
        text += QStringLiteral("overwritten ") + exactText(Record(timestamp, value)) + u'\n';
    return text;
}

// The two storages answer the same questions; only their signatures differ.

void readRange(TSFileStorage& storage, const StorageStep& step, Records& result, int& limit, Records* late,
               std::map<qint64, QVariant>* overwritten)
{
    std::unordered_map<qint64, QVariant> values;
    storage.readDataRecords({}, {}, step.from, step.to, result, false, limit, late,
                            overwritten ? &values : nullptr);
    if (overwritten)
        overwritten->insert(values.begin(), values.end());
}

void readRange(PlainStorage& storage, const StorageStep& step, Records& result, int& limit, Records* late,
               std::map<qint64, QVariant>* overwritten)
{
    storage.readDataRecords(step.from, step.to, result, limit, late, overwritten);
}

qint64 count(TSFileStorage& storage, const StorageStep& step)
{
    Interpolate::InterpolateParam param;
    param.interval = step.askIntervals ? 60 : 0;
    return storage.getCount(param, {}, step.from, step.to, step.stores & 1, step.stores & 2, step.stores & 4);
}

qint64 count(PlainStorage& storage, const StorageStep& step)
{
    return storage.getCount(step.askIntervals ? 60 : 0, step.from, step.to, step.stores & 1, step.stores & 2,
                            step.stores & 4);
}

bool adjust(TSFileStorage& storage, const QString& marker, qint64& from, qint64& to, bool& first,
            bool& second)
{
    TSFileStorage* target = storage.getReadFilestorageForMarker(marker);
    if (!target)
        return false;
    const bool result = storage.adjustTimestamps(target, from, to, first, second);
    if (target != &storage)
        delete target;
    return result;
}

bool adjust(PlainStorage& storage, const QString& marker, qint64& from, qint64& to, bool& first, bool& second)
{
    std::unique_ptr<PlainStorage> owned;
    PlainStorage* target = storage.storageForMarker(marker, owned);
    return target && storage.adjustTimestamps(*target, from, to, first, second);
}

template <typename Storage>
QString readText(Storage& storage, const StorageStep& step)
{
    Records result;
    Records late;
    std::map<qint64, QVariant> overwritten;
    int limit = step.limit;
    readRange(storage, step, result, limit, step.noteLate ? &late : nullptr,
              step.keepOverwritten ? &overwritten : nullptr);
    QString text = QStringLiteral("limit %1\n").arg(limit);
    for (const Record& record : result)
        text += exactText(record) + u'\n';
    for (const Record& record : late)
        text += QStringLiteral("late ") + exactText(record) + u'\n';
    return text + overwrittenText(overwritten);
}

template <typename Storage>
QString recordText(Storage& storage, const StorageStep& step)
{
    Record record(77, QStringLiteral("untouched"));
    bool answer = false;
    switch (step.kind) {
    case Kind::First:
        answer = storage.getFirstDataRecord(record);
        break;
    case Kind::Last:
        answer = storage.getLastDataRecord(record);
        break;
    case Kind::Find:
        answer = storage.findDataRecord(step.from, record);
        break;
    default:
        answer = storage.findPrevDataRecord(step.from, record);
        break;
    }
    return QStringLiteral("%1 %2").arg(answer).arg(exactText(record));
}

template <typename Storage>
QString adjustText(Storage& storage, const StorageStep& step)
{
    qint64 from = step.from;
    qint64 to = step.to;
    bool first = true;
    bool second = true;
    const bool answer = adjust(storage, step.marker, from, to, first, second);
    return QStringLiteral("%1 %2 %3 %4 %5").arg(answer).arg(from).arg(to).arg(first).arg(second);
}

template <typename Storage>
QString resultText(Storage& storage, const StorageStep& step)
{
    switch (step.kind) {
    case Kind::Write:
        return QString::number(storage.writeDataRecords(step.records, step.noteLate, step.keepOverwritten));
    case Kind::Read:
        return readText(storage, step);
    case Kind::Count:
        return QString::number(count(storage, step));
    case Kind::Adjust:
        return adjustText(storage, step);
    case Kind::Delete:
        return QString::number(storage.deleteDataRecords(step.from, step.to, step.marker));
    case Kind::DeleteEverywhere:
        return QString::number(storage.deleteDataRecords(step.from, step.to));
    default:
        return recordText(storage, step);
    }
}

std::string lineText(const LogLine& line)
{
    return std::to_string(line.level) + " " + line.source.toStdString() + ":" + std::to_string(line.line) +
           " " + line.text.toStdString();
}

bool sameLine(const LogLine& library, const LogLine& model)
{
    return library.level == model.level && library.text == model.text && library.source == model.source &&
           (model.line == kAnyLine || library.line == model.line);
}

} // namespace

QString temporaryPattern()
{
    const QFileInfo memory(QStringLiteral("/dev/shm"));
    const QString parent = memory.isDir() && memory.isWritable() ? memory.filePath() : QDir::tempPath();
    return parent + QStringLiteral("/kiv-properties-XXXXXX");
}

StoragePair::StoragePair(const StorageCase& storageCase)
    : m_directory(temporaryPattern()),
      m_library(libraryRoot() + QLatin1String(kSeriesBelow), storageCase.valueType.type,
                storageCase.maxFileSize),
      m_model(modelRoot() + QLatin1String(kSeriesBelow), storageCase.valueType.type, storageCase.maxFileSize),
      m_lateWriteLog(m_model.lateWriteLog()),
      m_overwriteHistory(m_model.overwriteHistory())
{
    m_seams.nowUs = storageCase.nowUs;
    // Emptied directories are removed upwards without end; this is where it ends.
    for (const QString& root : {libraryRoot(), modelRoot()})
        writeFile(root + QStringLiteral("/keep"));
}

template <typename Storage>
StepOutcome StoragePair::perform(Storage& storage, const StorageStep& step)
{
    StepOutcome outcome;
    LogCapture capture;
    m_seams.sleptSeconds = 0;
    outcome.results = resultText(storage, step);
    outcome.lines = capture.lines;
    outcome.sleptSeconds = m_seams.sleptSeconds;
    for (LogLine& line : outcome.lines)
        line.text.replace(libraryRoot(), modelRoot());
    return outcome;
}

std::string StoragePair::take(const StorageStep& step)
{
    m_seams.nowUs += step.advanceUs;
    if (step.kind >= Kind::TearTail) {
        damageSeries(step, libraryRoot());
        damageSeries(step, modelRoot());
        return {};
    }
    const StepOutcome library = perform(m_library, step);
    const StepOutcome model = perform(m_model, step);
    const std::string difference = compareOutcomes(library, model);
    return difference.empty() ? compareTrees() : difference;
}

void StoragePair::damageSeries(const StorageStep& step, const QString& root) const
{
    const QString main = root + QLatin1String(kSeriesBelow) + u'/' + m_model.m_marker;
    if (step.marker.isEmpty())
        damage(step, main, m_model);
    else if (step.marker == u'P')
        damage(step, main + QStringLiteral("P/L"), m_lateWriteLog);
    else
        damage(step, main + QStringLiteral("O/V"), m_overwriteHistory);
}

std::string StoragePair::compareOutcomes(const StepOutcome& library, const StepOutcome& model) const
{
    const std::size_t common = std::min(library.lines.size(), model.lines.size());
    for (std::size_t i = 0; i < std::max(library.lines.size(), model.lines.size()); ++i) {
        if (i < common && sameLine(library.lines[i], model.lines[i]))
            continue;
        return "log line " + std::to_string(i) +
               "\n    library: " + (i < library.lines.size() ? lineText(library.lines[i]) : "(none)") +
               "\n    model:   " + (i < model.lines.size() ? lineText(model.lines[i]) : "(none)");
    }
    if (library.results != model.results)
        return "results\n--- library:\n" + library.results.toStdString() + "\n--- model:\n" +
               model.results.toStdString();
    if (library.sleptSeconds != model.sleptSeconds)
        return "slept " + std::to_string(library.sleptSeconds) + " s, the model " +
               std::to_string(model.sleptSeconds) + " s";
    return {};
}

std::string StoragePair::compareTrees() const
{
    const Tree library = treeOf(libraryRoot());
    const Tree model = treeOf(modelRoot());
    const auto text = [](const Tree& tree, const std::string& path) {
        const auto found = tree.find(path);
        return found == tree.end() ? std::string("(missing)")
                                   : QByteArray::fromStdString(found->second).toHex().toStdString();
    };
    if (library == model)
        return {};
    Tree all = library;
    all.insert(model.begin(), model.end());
    for (const auto& [path, ignored] : all) {
        const std::string left = text(library, path);
        const std::string right = text(model, path);
        if (left != right)
            return path + "\n    library: " + left + "\n    model:   " + right;
    }
    return {};
}

std::string firstDifference(const StorageCase& storageCase)
{
    StoragePair pair(storageCase);
    for (std::size_t i = 0; i < storageCase.steps.size(); ++i) {
        const std::string difference = pair.take(storageCase.steps[i]);
        if (!difference.empty())
            return "step " + std::to_string(i) + ": " + difference;
    }
    return {};
}

namespace
{

/// Leaves out stretches of a list as long as the case still fails, ever shorter ones.
template <typename List>
void shrinkList(StorageCase& storageCase, List& list, int& runsLeft)
{
    for (std::size_t length = list.size(); length > 0; length /= 2) {
        for (std::size_t at = list.size(); at > 0 && runsLeft > 0;) {
            at -= std::min(at, length);
            const List before = list;
            const auto first = list.begin() + static_cast<std::ptrdiff_t>(at);
            list.erase(first, first + static_cast<std::ptrdiff_t>(std::min(length, list.size() - at)));
            --runsLeft;
            if (firstDifference(storageCase).empty())
                list = before;
        }
    }
}

} // namespace

StorageCase shrunken(StorageCase storageCase)
{
    int runsLeft = 600;
    shrinkList(storageCase, storageCase.steps, runsLeft);
    for (StorageStep& step : storageCase.steps)
        shrinkList(storageCase, step.records, runsLeft);
    return storageCase;
}

} // namespace Kiv::Testing
