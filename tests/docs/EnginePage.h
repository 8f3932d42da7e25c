#pragma once

// Owns the reading of docs/engine.md: its requests, tables, pictures and templates as data. Runs nothing.

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <map>
#include <vector>

namespace Kiv::Testing
{

/// The words of a request by their key: `interval=900` is interval -> 900.
using Words = std::map<QString, QString>;
using Rows = std::vector<QStringList>;

/// A table and the request above it.
struct PageTable {
    int line = 0;    ///< of the table's header, from 1
    QString section; ///< the nearest "##" heading
    QString verb;    ///< what is asked; empty: a table without a request
    Words words;
    QStringList header;
    Rows rows;
    QString picture; ///< path, relative to the page, of the picture right below; empty: none

    /// The words of the request with those that a cell of the header or of a row replaces.
    Words wordsWith(const QString& cell) const;
};

struct EnginePage {
    std::vector<PageTable> tables;
    QByteArray templates; ///< the JSON block

    const PageTable& series(const QString& name) const;
};

QString pathOfDocs();
/// \throws std::runtime_error for a page that cannot be read
EnginePage readEnginePage();

/// Times of the page: UTC, "08:40", "2024-05-17 08:40:00.001", "2024-05-17".
/// \throws std::runtime_error for anything else
qint64 timeOf(const QString& text);
QString textOfTime(qint64 timestampMs);
/// Shortest text that reads back as the same number.
QString textOfNumber(double number);

/// A table as it stands in the page.
QString markdownOf(const QStringList& header, const Rows& rows);

} // namespace Kiv::Testing
