// Any bytes as a CSV file: the import takes the rows or refuses them with a message, and what it took reads back.
// Input: a line of dice of the options, then the file.

#include "CsvReader.h"
#include "ImportColumns.h"
#include "ImportFormat.h"
#include "Importer.h"
#include "Series.h"
#include "ValueText.h"
#include "support/FuzzInput.h"
#include "support/SeamsForTest.h"
#include "support/SeriesForTest.h"

#include <QBuffer>
#include <QFileInfo>

#include <algorithm>
#include <limits>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

Cli::ImportOptions optionsFrom(Dice& dice, const QString& seriesPath)
{
    const std::vector<const char*> timeFormats{"auto",          "iso", "ms", "s", "d/M/yyyy H:mm:ss",
                                               "yy-M-d h:mm AP"};
    const std::vector<const char*> separators{",", ";", "tab", " ", "|"};
    const std::vector<const char*> timeColumns{"1", "2", "1,2", "time", "Date,Time"};
    const std::vector<const char*> valueColumns{"2", "1", "3", "value"};
    Cli::ImportOptions options;
    options.fileNames = {QStringLiteral("input.csv")};
    options.seriesPath = seriesPath;
    options.typeWord = dice.pick(Cli::allTypes()).word;
    options.timeColumns = QLatin1String(dice.pick(timeColumns));
    options.valueColumns = QLatin1String(dice.pick(valueColumns));
    options.timeFormat = QLatin1String(dice.pick(timeFormats));
    options.separator = QLatin1String(dice.pick(separators));
    options.maxFileSizeBytes = dice.pick(std::vector<int>{0, 1, 30, 100});
    return options;
}

/// The records of all rows that can be read, the way of an import retraced without a store: of equal timestamps
/// the greatest value stays.
Records expectedRecords(const Cli::ImportOptions& options, QBuffer& input)
{
    const Cli::SeriesType& type = Cli::typeOfWord(QString(), options.typeWord);
    const Cli::TimeFormat timeFormat(options.timeFormat);
    Cli::ImportColumns columns(options, false);
    Cli::CsvReader reader(input, Cli::parseSeparator(options.separator));
    Cli::CsvRow row;
    Records records;
    for (bool isFirst = true; reader.next(row); isFirst = false) {
        if (isFirst && columns.needHeader()) {
            columns.resolve(row, options.fileNames.first());
            continue;
        }
        const std::optional<QByteArrayView> time = columns.timeText(row);
        const std::optional<qint64> timestamp = time ? timeFormat.parse(*time) : std::nullopt;
        if (isFirst && !timestamp)
            continue;
        const QByteArrayView value = columns.valueText(row).value();
        const bool keepsBlanks = type.metaType == QMetaType::QString;
        records.emplace_back(timestamp.value(),
                             Cli::parseValue(type, keepsBlanks ? value : value.trimmed()).value);
    }
    std::stable_sort(records.begin(), records.end());
    const auto kept =
        std::unique(records.rbegin(), records.rend(), [](const Record& left, const Record& right) {
            return left.timestamp == right.timestamp;
        });
    records.erase(records.begin(), kept.base());
    return records;
}

QString textOfAll(const Records& records)
{
    QString text;
    for (const Record& record : records)
        text += exactText(record) + u'\n';
    return text;
}

/// \return true when all rows were stored
bool isImported(const Cli::ImportOptions& options, QBuffer& input)
{
    Cli::LibraryLog log;
    try {
        Cli::Importer importer(options, log);
        importer.take(input, options.fileNames.first());
        return importer.finish() == Cli::ExitCode::Good;
    } catch (const Cli::CommandError& error) {
        if (error.code() == Cli::ExitCode::FileError)
            expectNone("the import could not store", error.text().toStdString());
        return false;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t sizeBytes)
{
    FuzzInput input(bytes, sizeBytes);
    Dice dice = input.takeDice();
    const SeamsForTest seams;
    const SeriesDirectory directory;
    const QString path = directory.at(QStringLiteral("series"));
    const Cli::ImportOptions options = optionsFrom(dice, path);
    QByteArray text = input.takeRest();
    QBuffer file(&text);
    file.open(QIODevice::ReadOnly);
    if (!isImported(options, file)) {
        if (QFileInfo::exists(path))
            expectNone("bad input left a trace of a series", text.toStdString());
        return 0;
    }
    const Cli::Series series = Cli::openSeries(path, options.typeWord);
    Records stored;
    series.read({}, std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max(), stored, 0);
    file.seek(0);
    const QString expected = textOfAll(expectedRecords(options, file));
    if (textOfAll(stored) != expected)
        expectNone("other records were stored",
                   "expected\n" + expected.toStdString() + "stored\n" + textOfAll(stored).toStdString());
    return 0;
}
