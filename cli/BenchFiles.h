#pragma once

// Owns the plain system calls that the store's own figures are held against.

#include <QString>

#include <vector>

namespace Kiv::Cli
{

/// A stretch of a file; for an insert, the bytes that come before what stands there.
struct FileStretch {
    QString path;
    qint64 position = 0;
    qint64 size = 0;
};

/// Each takes its files one by one, opened and closed, without waiting for the disk.
/// \return seconds
/// \throws CommandError
double writePlainFiles(const std::vector<FileStretch>& files);
double readPlainFiles(const std::vector<FileStretch>& files);
double readStretches(const std::vector<FileStretch>& stretches);
/// Moves what stands behind each stretch's position, as far as the file has it, back by the stretch's size.
double insertStretches(const std::vector<FileStretch>& stretches);

/// All files below a directory, with their sizes, in the order of their paths.
std::vector<FileStretch> filesBelow(const QString& directory);

} // namespace Kiv::Cli
