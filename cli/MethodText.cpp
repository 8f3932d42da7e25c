#include "MethodText.h"

#include "Errors.h"
#include "Words.h"

#include <QRegularExpression>

#include <limits>
#include <optional>
#include <vector>

namespace Kiv::Cli
{

namespace
{

// In the order of the engine's numbers, which begin with 1.
const QStringList kMethods = {QStringLiteral("prevnext"), QStringLiteral("prev"),  QStringLiteral("next"),
                              QStringLiteral("minmax"),   QStringLiteral("min"),   QStringLiteral("max"),
                              QStringLiteral("sum"),      QStringLiteral("meana"), QStringLiteral("meang"),
                              QStringLiteral("meanh"),    QStringLiteral("means"), QStringLiteral("median"),
                              QStringLiteral("mode"),     QStringLiteral("count")};
const QStringList kOptions = {QStringLiteral("linear"), QStringLiteral("align"), QStringLiteral("fill"),
                              QStringLiteral("fillnull"), QStringLiteral("average")};
const QStringList kDifferences = {QStringLiteral("diff"), QStringLiteral("diffctrupcleaned")};

const QStringList& allWords()
{
    static const QStringList words = kMethods + kOptions + kDifferences;
    return words;
}

/// For every length of the text's front the fewest words that it consists of, if it consists of words.
std::vector<std::optional<QStringList>> splitFronts(const QString& text)
{
    std::vector<std::optional<QStringList>> fronts(static_cast<std::size_t>(text.size()) + 1);
    fronts[0] = QStringList();
    for (qsizetype start = 0; start < text.size(); ++start) {
        const std::optional<QStringList>& front = fronts[static_cast<std::size_t>(start)];
        if (!front)
            continue;
        for (const QString& word : allWords()) {
            if (QStringView(text).mid(start, word.size()) != word)
                continue;
            std::optional<QStringList>& extended = fronts[static_cast<std::size_t>(start + word.size())];
            if (!extended || extended->size() > front->size() + 1)
                extended = *front + QStringList(word);
        }
    }
    return fronts;
}

/// Blames the rest behind the front that leaves the rest nearest to a word.
CommandError unknownMethodWord(const QString& option, const QString& text,
                               const std::vector<std::optional<QStringList>>& fronts,
                               const QStringList& offered)
{
    QString unknown;
    int nearestDistance = std::numeric_limits<int>::max();
    for (qsizetype start = 0; start < text.size(); ++start) {
        if (!fronts[static_cast<std::size_t>(start)])
            continue;
        const QString rest = text.mid(start);
        const int distance = editDistance(rest, nearestWord(rest, offered));
        if (distance < nearestDistance) {
            nearestDistance = distance;
            unknown = rest;
        }
    }
    return unknownWord(option, unknown, offered);
}

QStringList splitWords(const QString& option, const QString& text, const QStringList& offered)
{
    static const QRegularExpression kSeparators(QStringLiteral("[\\s,]+"));
    QStringList words;
    for (const QString& part : text.toLower().split(kSeparators, Qt::SkipEmptyParts)) {
        const auto fronts = splitFronts(part);
        if (!fronts.back())
            throw unknownMethodWord(option, part, fronts, offered);
        words += *fronts.back();
    }
    return words;
}

QStringList chosen(const QStringList& words, const QStringList& from)
{
    QStringList found;
    for (const QString& word : words) {
        if (from.contains(word) && !found.contains(word))
            found += word;
    }
    return found;
}

void checkSingle(const QString& option, const QStringList& words, const QString& what)
{
    if (words.size() > 1)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("%1: '%2' and '%3' exclude each other; give one %4")
                               .arg(option, words[0], words[1], what));
}

} // namespace

const QStringList& analysisNames()
{
    static const QStringList names = [] {
        QStringList all = Analytics::Method::names();
        for (const QString& word : allWords())
            all.removeAll(word);
        return all;
    }();
    return names;
}

QStringList methodWords()
{
    QStringList words = kMethods + kDifferences;
    for (const QString& name : analysisNames())
        words += name.section(u':', 0, 0); // without the parameter that stands behind it
    return words;
}

QString checkedMethod(const QString& option, const QString& text, const QStringList& otherWords)
{
    const QStringList words = splitWords(option, text, allWords() + otherWords);
    if (words.isEmpty())
        throw CommandError(ExitCode::Usage, QStringLiteral("%1: no word given; choose from: %2")
                                                .arg(option, allWords().join(QStringLiteral(", "))));
    const QStringList methods = chosen(words, kMethods);
    const QStringList options = chosen(words, kOptions);
    const QStringList differences = chosen(words, kDifferences);
    checkSingle(option, methods, QStringLiteral("method"));
    checkSingle(option, differences, QStringLiteral("difference"));
    // Without a method the engine takes linear values with filling, whatever the other options say.
    for (const QString& optionWord : options) {
        const bool isImplied = optionWord == QLatin1String("linear") || optionWord == QLatin1String("fill");
        if (methods.isEmpty() && !isImplied)
            throw CommandError(
                ExitCode::Usage,
                QStringLiteral("%1: '%2' needs a method beside it, for example prev%2; choose from: %3")
                    .arg(option, optionWord, kMethods.join(QStringLiteral(", "))));
    }
    return (methods + options + differences).join(u' ');
}

std::optional<Analytics::Method> parseAnalysis(const QString& option, const QString& text)
{
    const QString trimmed = text.trimmed().toLower();
    if (allWords().contains(trimmed))
        return std::nullopt;
    std::optional<Analytics::Method> method = Analytics::Method::parse(text.trimmed());
    if (method)
        return method;
    const QString name = trimmed.section(u':', 0, 0);
    for (const QString& known : analysisNames()) {
        if (known.section(u':', 0, 0) == name)
            throw CommandError(ExitCode::Usage,
                               QStringLiteral("%1: %2 is not complete or has a wrong number; write %3, for "
                                              "example percentile:95 or in-state:1")
                                   .arg(option, quoted(text), known));
    }
    return std::nullopt;
}

bool isDifferenceOnly(const QString& checkedMethodText)
{
    return kDifferences.contains(checkedMethodText);
}

QString EngineMethod::text() const
{
    QStringList words;
    const auto add = [&words](bool isSet, const QString& word) {
        if (isSet)
            words += word;
    };
    add(!methodWord.isEmpty(), methodWord);
    add(linear, QStringLiteral("linear"));
    add(align, QStringLiteral("align"));
    add(fill && !fillNull, QStringLiteral("fill"));
    add(fillNull, QStringLiteral("fillnull"));
    add(average, QStringLiteral("average"));
    add(!differenceWord.isEmpty(), differenceWord);
    return words.join(u' ');
}

EngineMethod understoodMethod(const Interpolate::InterpolateParam& param)
{
    int limit = 0;
    const Interpolate engine(param, {}, 0, 0, 0, 0, nullptr, QMetaType::Double, false, limit, false);
    EngineMethod understood;
    if (engine.method != Interpolate::RAW)
        understood.methodWord = kMethods[engine.method - 1];
    understood.linear = engine.linear;
    understood.align = engine.align;
    understood.fill = engine.fill;
    understood.fillNull = engine.fillNull;
    understood.average = engine.average;
    if (engine.diffHandler == &Interpolate::handle_DIFF)
        understood.differenceWord = kDifferences[0];
    else if (engine.diffHandler == &Interpolate::handle_DIFF_CTRUPCLEANED)
        understood.differenceWord = kDifferences[1];
    return understood;
}

} // namespace Kiv::Cli
