#include "TSFileInfo.h"

#include "internal/FilePlace.h"

#include <utility>

namespace Kiv
{

TSFileInfo::TSFileInfo() = default;

TSFileInfo::TSFileInfo(QFileInfo fileInfo, QString subDirectory)
    : QFileInfo(std::move(fileInfo)), subDir(std::move(subDirectory))
{
}

TSFileInfo::~TSFileInfo() = default;

bool TSFileInfo::found() const
{
    return exists() && isFile();
}

QString TSFileInfo::getSubDir() const
{
    return subDir;
}

TSFileInfo::DirDepth TSFileInfo::getDirDepth() const
{
    return static_cast<DirDepth>(Internal::depthOfSubDir(subDir));
}

qint64 TSFileInfo::getBaseTsMs() const
{
    return Internal::baseTimeMs(subDir, fileName());
}

} // namespace Kiv
