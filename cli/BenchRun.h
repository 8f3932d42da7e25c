#pragma once

// Owns the measuring of the store on this machine: what is done, and what plain files would take for it.

#include "BenchFiles.h"
#include "Progress.h"

#include "TSFileStorage.h"

#include <QHash>
#include <QString>

#include <functional>
#include <vector>

namespace Kiv::Cli
{

struct BenchResult {
    QString work;
    QString limit; ///< what plain files do for it
    qint64 count = 0;
    double seconds = 0.0;
    double limitSeconds = 0.0;
};

/// One series of doubles about every second, made anew; the same on every machine.
class BenchRun
{
public:
    /// \param directory  empty, for everything that is written
    BenchRun(const QString& directory, qint64 sampleCount);

    /// \throws CommandError, also when interrupted
    std::vector<BenchResult> run();

    /// Most bytes that a run takes on the disk.
    static qint64 spaceNeeded(qint64 sampleCount);

private:
    struct LateBatch;

    BenchResult append();
    BenchResult insertLate();
    BenchResult scan();
    BenchResult hourlyMean();
    BenchResult lookUp();
    double readAll(const Interpolate::InterpolateParam& param);
    LateBatch makeLateBatch(quint64 number) const;
    FileStretch stretchAt(qint64 timestampMs, qint64 recordCount) const;
    void write(const TSFileColumns& columns, double& seconds);

    qint64 m_sampleCount;
    QString m_plainDirectory; ///< of the files that are no series
    TSFileStorage m_storage;
    Progress m_progress;
    qint64 m_done = 0;
    QHash<QString, QString> m_plainPaths; ///< file of the series -> file of its size
};

} // namespace Kiv::Cli
