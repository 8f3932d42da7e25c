#include "Errors.h"

#include <cstdio>

namespace Kiv::Cli
{

void printMessage(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    std::fprintf(stderr, "kivts: %s\n", bytes.constData());
}

void printWarning(const QString& text)
{
    printMessage(QStringLiteral("warning: ") + text);
}

CommandError outputError()
{
    return {ExitCode::FileError, QStringLiteral("cannot write to standard output")};
}

void flushOutput()
{
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw outputError();
}

QString counted(qint64 count, const QString& noun)
{
    return QString::number(count) + u' ' + noun + (count == 1 ? QString() : QStringLiteral("s"));
}

QString escapedControls(const QString& text)
{
    QString visible;
    visible.reserve(text.size());
    for (const QChar character : text) {
        const ushort unit = character.unicode();
        const bool isControl = unit < 0x20 || (unit >= 0x7f && unit < 0xa0);
        if (!isControl)
            visible += character;
        else if (unit == '\n')
            visible += QStringLiteral("\\n");
        else if (unit == '\r')
            visible += QStringLiteral("\\r");
        else if (unit == '\t')
            visible += QStringLiteral("\\t");
        else
            visible += QStringLiteral("\\x%1").arg(unit, 2, 16, QLatin1Char('0'));
    }
    return visible;
}

QString quoted(const QString& text)
{
    constexpr qsizetype kMaxLength = 60;
    QString shown = text.left(kMaxLength);
    if (shown.size() < text.size())
        shown += QStringLiteral("...");
    return u'\'' + escapedControls(shown) + u'\'';
}

} // namespace Kiv::Cli
