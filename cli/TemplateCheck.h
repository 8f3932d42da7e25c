#pragma once

// Owns what can be wrong with template files, most of which the engine passes over in silence.

#include <QString>

#include <vector>

namespace Kiv::Cli
{

enum class FindingLevel { Good, Note, Warning, Error };

struct TemplateFinding {
    QString file;
    qint64 line = 0;      ///< from 1; 0 for the whole file
    QString templateName; ///< empty when it is about the file; "#2" for the second of a file without a name
    FindingLevel level = FindingLevel::Good;
    QString text;
};

struct TemplateReport {
    std::vector<TemplateFinding> findings; ///< in the order of the files; one at least for each
    qint64 fileCount = 0;                  ///< that are there
    qint64 templateCount = 0;

    qint64 count(FindingLevel level) const;
};

/// Reads the template files in the order in which the engine does.
TemplateReport checkTemplates();

} // namespace Kiv::Cli
