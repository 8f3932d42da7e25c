#include "Commands.h"
#include "RowPrinter.h"
#include "Series.h"
#include "SeriesLock.h"
#include "SharedOptions.h"
#include "Sidecar.h"

#include <CLI/CLI.hpp>

#include <QDir>
#include <QFileInfo>

#include <memory>
#include <optional>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    std::vector<std::string> paths;
    OutputOptions output;
    std::optional<std::string> unit;
    std::optional<std::string> description;
    std::optional<std::string> typeWord;
    std::optional<qint64> maxFileSizeBytes;

    bool changesNothing() const { return !unit && !description && !typeWord && !maxFileSizeBytes; }
};

/// A setting of one series as it was and as it will be.
struct Change {
    QString name;
    QString before; ///< empty for none
    QString after;  ///< empty for none
};

/// One series and what becomes of it.
struct Settings {
    QString path;
    Sidecar sidecar;
    std::vector<Change> changes;
};

bool holdsRecords(const QString& path, const QString& marker)
{
    return !QDir(path + u'/' + marker).isEmpty();
}

/// The markers of a series that hold records.
QStringList usedMarkers(const QString& path)
{
    QStringList markers = existingMarkers(path);
    markers.removeIf([&path](const QString& marker) { return !holdsRecords(path, marker); });
    return markers;
}

/// Records of one type are nothing that another one could read.
void checkType(const QString& path, const SeriesType& type)
{
    const QStringList markers = usedMarkers(path);
    if (markers.isEmpty() || markers.contains(type.marker))
        return;
    QStringList words;
    for (const QString& marker : markers)
        words += typeWordsOfMarker(marker);
    throw CommandError(ExitCode::Refused,
                       QStringLiteral("--type: %1 holds records that are no %2; its types can be %3")
                           .arg(path, type.word, words.join(QStringLiteral(", "))));
}

void checkPath(const QString& path)
{
    checkSeriesPath(QStringLiteral("SERIES"), path);
    if (!QFileInfo(path).isDir())
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("no series at %1: no such directory").arg(path));
}

/// The word of the type that the series has now; empty when nothing says one.
QString presentTypeWord(const QString& path, const Arguments& arguments, const Sidecar& sidecar)
{
    if (arguments.typeWord && !sidecar.exists())
        return {};
    const SeriesType* const type = findType(path, QString(), sidecar);
    if (!type && !arguments.typeWord)
        throw CommandError(ExitCode::NothingFound,
                           QStringLiteral("%1 holds no series; to begin one give --type").arg(path));
    return type ? type->word : QString();
}

void addChange(const QString& name, const QString& before, const QString& after, Settings& settings)
{
    if (before != after)
        settings.changes.push_back({name, before, after});
}

void applyOptions(const Arguments& arguments, Settings& settings)
{
    Sidecar& sidecar = settings.sidecar;
    const QString typeWord = presentTypeWord(settings.path, arguments, sidecar);
    if (arguments.typeWord) {
        const SeriesType& type =
            typeOfWord(QStringLiteral("--type"), QString::fromStdString(*arguments.typeWord));
        checkType(settings.path, type);
        addChange(QStringLiteral("type"), typeWord, type.word, settings);
        sidecar.setTypeWord(type.word);
    } else {
        // A file that is written says all that opening the series takes.
        sidecar.setTypeWord(typeWord);
    }
    if (arguments.maxFileSizeBytes) {
        const int sizeBytes = checkedMaxFileSize(*arguments.maxFileSizeBytes);
        addChange(QStringLiteral("maximal file size"), QString::number(sidecar.maxFileSizeBytes()),
                  QString::number(sizeBytes), settings);
        sidecar.setMaxFileSizeBytes(sizeBytes);
    }
    if (arguments.unit) {
        const QString unit = QString::fromStdString(*arguments.unit);
        addChange(QStringLiteral("unit"), sidecar.unit(), unit, settings);
        sidecar.setUnit(unit);
    }
    if (arguments.description) {
        const QString description = QString::fromStdString(*arguments.description);
        addChange(QStringLiteral("description"), sidecar.description(), description, settings);
        sidecar.setDescription(description);
    }
}

Settings settingsOf(const QString& path, const Arguments& arguments)
{
    checkPath(path);
    Settings settings{path, Sidecar::load(path), {}};
    applyOptions(arguments, settings);
    return settings;
}

QString changeText(const QString& path, const Change& change)
{
    if (change.before.isEmpty())
        return QStringLiteral("%1: %2 is %3 now").arg(path, change.name, quoted(change.after));
    if (change.after.isEmpty())
        return QStringLiteral("%1: %2 %3 removed").arg(path, change.name, quoted(change.before));
    return QStringLiteral("%1: %2 is %3 now, was %4")
        .arg(path, change.name, quoted(change.after), quoted(change.before));
}

QVariant textCell(const QString& text)
{
    return text.isEmpty() ? QVariant() : QVariant(text);
}

ExitCode printSettings(const QStringList& paths, const Arguments& arguments, OutputFormat format)
{
    RowPrinter printer(format,
                       {{QStringLiteral("series")},
                        {QStringLiteral("type")},
                        {QStringLiteral("maxFileSize"), CellKind::Number, QStringLiteral("max file size")},
                        {QStringLiteral("unit")},
                        {QStringLiteral("description")}});
    for (const QString& path : paths) {
        checkPath(path);
        const Sidecar sidecar = Sidecar::load(path);
        printer.print({path, presentTypeWord(path, arguments, sidecar), sidecar.maxFileSizeBytes(),
                       textCell(sidecar.unit()), textCell(sidecar.description())});
    }
    printer.finish();
    return ExitCode::Good;
}

void changeSettings(const QStringList& paths, const Arguments& arguments)
{
    // All of them can be changed before the first one is.
    for (const QString& path : paths)
        static_cast<void>(settingsOf(path, arguments));
    for (const QString& path : paths) {
        const SeriesLock lock(path);
        Settings settings = settingsOf(path, arguments);
        settings.sidecar.save();
        for (const Change& change : settings.changes)
            printMessage(changeText(path, change));
        if (settings.changes.empty())
            printMessage(QStringLiteral("%1: nothing to change").arg(path));
    }
}

ExitCode runSet(const Arguments& arguments)
{
    QStringList paths;
    for (const std::string& path : arguments.paths)
        paths += QString::fromStdString(path);
    if (arguments.changesNothing())
        return printTo(arguments.output,
                       [&](OutputFormat format) { return printSettings(paths, arguments, format); });
    changeSettings(paths, arguments);
    return ExitCode::Good;
}

constexpr const char* kFooter = R"(
Settings stand in the series.json of each series. An empty text removes a unit or description. A type is
refused when the records that are there can be none of it; a new maximal size counts from the next write on.
Without options the present settings are shown.

Examples:
  kivts set data/plant --unit °C --description 'Temperature of the boiler'
  kivts set data/plant data/other --max-file-size 500000
)";

} // namespace

Command addSetCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser =
        program.add_subcommand("set", "Show or change unit, description, type and file size");
    parser->add_option("SERIES", arguments->paths, "Base directory of the series; several may be given")
        ->required()
        ->type_name("");
    parser->add_option("--unit", arguments->unit, "Unit of the values, shown beside them")->type_name("TEXT");
    parser->add_option("--description", arguments->description, "What the series is")->type_name("TEXT");
    parser->add_option("--type", arguments->typeWord, "Value type of the records")->type_name("TYPE");
    parser
        ->add_option("--max-file-size", arguments->maxFileSizeBytes,
                     "Size above which a record file is split")
        ->type_name("BYTES");
    addLockOption(*parser);
    addOutputOptions(*parser, arguments->output);
    addJsonOption(*parser, arguments->output);
    parser->footer(kFooter);
    return {parser, [arguments] { return runSet(*arguments); }};
}

} // namespace Kiv::Cli
