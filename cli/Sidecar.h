#pragma once

// Owns series.json, the small file beside the records that says how a series is to be opened.

#include <QJsonObject>
#include <QString>

namespace Kiv::Cli
{

inline constexpr int kDefaultMaxFileSizeBytes = 1'000'000;

/// The value of --max-file-size.
/// \throws CommandError (usage)
int checkedMaxFileSize(qint64 sizeBytes);

class Sidecar
{
public:
    /// Reads the file in a base directory; without one all values are their defaults.
    /// \throws CommandError when it cannot be read or holds nonsense
    static Sidecar load(const QString& basePath);

    bool exists() const { return m_exists; }

    /// \return the word of the value type; empty without one
    QString typeWord() const;
    int maxFileSizeBytes() const;

    /// \return what people read beside values; empty without one
    QString unit() const;
    QString description() const;

    void setTypeWord(const QString& word);
    void setMaxFileSizeBytes(int sizeBytes);

    /// \param text  empty removes it
    void setUnit(const QString& text);
    void setDescription(const QString& text);

    /// Writes the file if anything was set to a new value: completely or not at all.
    /// \throws CommandError
    void save();

private:
    explicit Sidecar(QString path) : m_path(std::move(path)) {}

    void read();
    void setEntry(const QString& key, const QJsonValue& value);

    QString m_path;
    QJsonObject m_entries; ///< foreign keys included, which survive a save
    bool m_exists = false;
    bool m_changed = false;
};

} // namespace Kiv::Cli
