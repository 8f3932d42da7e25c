#pragma once

// Owns what Ctrl-C does: the first one asks the command to stop where everything is whole, the second one kills.

namespace Kiv::Cli
{

void watchInterrupts();

/// Whether somebody pressed Ctrl-C, or the program was told to end.
bool isInterrupted();

/// \throws CommandError (interrupted)
void throwIfInterrupted();

/// Waits until a file has bytes to read, or its end. A read by itself would go on waiting through an interrupt.
/// \return false when an interrupt came
bool waitForInput(int file);

} // namespace Kiv::Cli
