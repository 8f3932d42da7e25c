#include "analytics/Method.h"

#include <QLocale>

#include <algorithm>
#include <array>
#include <cmath>

namespace Kiv::Analytics
{

namespace
{

struct Name {
    Method::Kind kind;
    const char* word;
    const char* parameter; ///< how it is called; none when null
};

constexpr std::array kNames = {
    Name{Method::Kind::TimeWeightedMean, "twa", nullptr},
    Name{Method::Kind::TimeWeightedMeanLinear, "twa-linear", nullptr},
    Name{Method::Kind::Integral, "integral", nullptr},
    Name{Method::Kind::IntegralLinear, "integral-linear", nullptr},
    Name{Method::Kind::InState, "in-state", "V"},
    Name{Method::Kind::Transitions, "transitions", nullptr},
    Name{Method::Kind::First, "first", nullptr},
    Name{Method::Kind::Last, "last", nullptr},
    Name{Method::Kind::Delta, "delta", nullptr},
    Name{Method::Kind::Range, "range", nullptr},
    Name{Method::Kind::StandardDeviation, "stddev", nullptr},
    Name{Method::Kind::StandardDeviationPopulation, "stddev-pop", nullptr},
    Name{Method::Kind::Variance, "var", nullptr},
    Name{Method::Kind::VariancePopulation, "var-pop", nullptr},
    Name{Method::Kind::Percentile, "percentile", "N"},
    Name{Method::Kind::MostFrequent, "most-frequent", nullptr},
    Name{Method::Kind::Mean, "mean", nullptr},
    Name{Method::Kind::Min, "min", nullptr},
    Name{Method::Kind::Max, "max", nullptr},
    Name{Method::Kind::Sum, "sum", nullptr},
    Name{Method::Kind::Count, "count", nullptr},
};

bool setParameter(Method& method, const QString& text)
{
    if (method.kind == Method::Kind::InState) {
        const std::optional<Value> state = Value::parse(text);
        method.state = state.value_or(Value());
        return state.has_value();
    }
    bool isNumber = false;
    method.percent = text.toDouble(&isNumber);
    return isNumber && method.percent >= 0.0 && method.percent <= 100.0;
}

} // namespace

std::optional<Method> Method::parse(const QString& text)
{
    const QString word = text.section(u':', 0, 0).trimmed().toLower();
    const bool hasParameter = text.contains(u':');
    const auto isMeant = [&word](const Name& name) { return word == QLatin1String(name.word); };
    const auto name = std::find_if(kNames.begin(), kNames.end(), isMeant);
    if (name == kNames.end() || hasParameter != (name->parameter != nullptr))
        return std::nullopt;
    Method method;
    method.kind = name->kind;
    if (hasParameter && !setParameter(method, text.section(u':', 1).trimmed()))
        return std::nullopt;
    return method;
}

QStringList Method::names()
{
    QStringList names;
    for (const Name& name : kNames) {
        names += QLatin1String(name.word);
        if (name.parameter != nullptr)
            names.back() += u':' + QLatin1String(name.parameter);
    }
    return names;
}

QString Method::text() const
{
    const auto isThis = [this](const Name& name) { return name.kind == kind; };
    QString word = QLatin1String(std::find_if(kNames.begin(), kNames.end(), isThis)->word);
    if (kind == Kind::InState)
        return word + u':' + state.text();
    if (kind == Kind::Percentile)
        return word + u':' + QString::number(percent, 'g', QLocale::FloatingPointShortest);
    return word;
}

bool Method::usesNeighbours() const
{
    switch (kind) {
    case Kind::TimeWeightedMean:
    case Kind::TimeWeightedMeanLinear:
    case Kind::Integral:
    case Kind::IntegralLinear:
    case Kind::InState:
    case Kind::Transitions:
        return true;
    default:
        return false;
    }
}

} // namespace Kiv::Analytics
