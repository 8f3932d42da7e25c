#pragma once

// Owns what the program knows of the terminal: whether there is one, its size, and whether it gets colours.

#include <QByteArray>
#include <QString>

namespace Kiv::Cli
{

enum class Stream { Output, Error };

bool isTerminal(Stream stream);

/// Columns of the terminal, 80 where there is none.
int terminalWidth();
int terminalHeight();

/// \param word  of --color: auto, always or never; auto means terminals unless NO_COLOR is set
/// \throws CommandError (usage)
void setColorChoice(const QString& word);

enum class Style { Plain, Bold, Dim, Red, Green, Yellow, Blue, Cyan };

/// The text between the codes of a style, or as it is where there are no colours.
QByteArray styled(Stream stream, Style style, const QByteArray& text);

/// The columns that a text takes up in a terminal.
int textWidth(const QString& text);

} // namespace Kiv::Cli
