#pragma once

// Owns the file that takes the place of stdout.

#include <QString>

namespace Kiv::Cli
{

/// While it lives, stdout goes to a file beside the one that is named. keep() puts it in its place; without that the
/// named file stays as it was. Devices and pipes are written to directly. There is one at a time.
class OutputFile
{
public:
    /// \param path    empty or "-" leaves stdout as it is
    /// \param option  that names the file, for errors
    /// \throws CommandError (file error)
    explicit OutputFile(const QString& path, const char* option = "--output");
    ~OutputFile();

    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// \throws CommandError (file error) when not everything could be written
    void keep();

    /// \return the path as given, empty when output goes to stdout
    static QString openPath();

    /// \return the option that named it, null when output goes to stdout
    static const char* openOption();

private:
    void discard();

    const char* m_option;
    QString m_path;
    QByteArray m_place;       ///< behind symbolic links
    QByteArray m_partialPath; ///< empty for a device
};

} // namespace Kiv::Cli
