#include "OutputFormat.h"

#include "OutputFile.h"
#include "Terminal.h"
#include "Words.h"

#include <QFileInfo>

namespace Kiv::Cli
{

const QStringList& formatWords()
{
    static const QStringList words = {QStringLiteral("table"), QStringLiteral("csv"), QStringLiteral("tsv"),
                                      QStringLiteral("json"), QStringLiteral("ndjson")};
    return words;
}

OutputFormat parseOutputFormat(const QString& word)
{
    if (!word.isEmpty()) {
        const qsizetype index = formatWords().indexOf(word);
        if (index < 0)
            throw unknownWord(QStringLiteral("--format"), word, formatWords());
        return static_cast<OutputFormat>(index);
    }
    const qsizetype ending = formatWords().indexOf(QFileInfo(OutputFile::openPath()).suffix().toLower());
    if (ending >= 0)
        return static_cast<OutputFormat>(ending);
    return isTerminal(Stream::Output) ? OutputFormat::Table : OutputFormat::Csv;
}

} // namespace Kiv::Cli
