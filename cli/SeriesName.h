#pragma once

// Owns the rules for names of series, above all of those that come out of data, so that no file can write where nobody
// meant it to.

#include <QString>

#include <functional>

namespace Kiv::Cli
{

/// \param name  a path relative to the directory of the series
/// \return what is wrong with it, empty when nothing is
QString problemOfSeriesName(const QString& name);

/// Whether a name, relative to the directory of the series, is one of a series that is not stored yet.
using NameTest = std::function<bool(const QString& name)>;

/// Looks whether the directory is, or lies among, the records of another series.
/// \param name  a good one, or empty for a series in the directory itself
/// \return what is wrong with it, empty when nothing is
QString problemOfSeriesPlace(const QString& directory, const QString& name, const NameTest& isKnown = {});

/// \param path  of a series, or of a directory of series, as a user gives it
/// \return what is wrong with it, empty when nothing is
QString problemOfSeriesDirectory(const QString& path);

} // namespace Kiv::Cli
