#include "internal/FileAccess.h"

#include "internal/LogTexts.h"
#include "internal/Seams.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace Kiv::Internal
{

namespace
{

constexpr int kOpenAttempts = 6;
constexpr unsigned kRetrySeconds = 1;

/// Keeps one system call below the sizes where it may be cut short by design.
constexpr qint64 kMaxBytesPerCall = qint64{1} << 30;

IoResult resultOf(int returned)
{
    return returned == 0 ? IoResult() : IoResult(errno);
}

} // namespace

QString openModeText(QIODevice::OpenMode mode)
{
    struct FlagName {
        QIODevice::OpenModeFlag flag;
        const char* name;
    };
    constexpr FlagName kNames[] = {
        {QIODevice::ReadOnly, "Read,"},   {QIODevice::WriteOnly, "Write,"},
        {QIODevice::Append, "Append,"},   {QIODevice::Truncate, "Truncate,"},
        {QIODevice::Text, "Text,"},       {QIODevice::Unbuffered, "Unbuffered,"},
        {QIODevice::NewOnly, "NewOnly,"}, {QIODevice::ExistingOnly, "ExistingOnly,"},
    };
    QString text;
    for (const FlagName& name : kNames) {
        if (mode.testFlag(name.flag))
            text += QLatin1String(name.name);
    }
    return text;
}

bool openFile(QFile& file, QIODevice::OpenMode mode, OpenAttempts attempts)
{
    for (int attempt = 1;; ++attempt) {
        if (seams().open(file, mode))
            return true;
        logLine(LogTexts::kOpenAttemptFailed, openModeText(mode), file.fileName(), attempt);
        if (attempt == kOpenAttempts || attempts == OpenAttempts::Once)
            return false;
        seams().sleep(kRetrySeconds);
    }
}

bool isSpecialFile(const QString& path)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        return false;
    return !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

bool fileExists(const QString& path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0;
}

bool isRegularFile(const QString& path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 && S_ISREG(status.st_mode);
}

qint64 fileSizeBytes(const QString& path)
{
    struct stat status = {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? qint64{status.st_size} : 0;
}

qint64 fileSizeBytes(int fd)
{
    struct stat status = {};
    return ::fstat(fd, &status) == 0 ? qint64{status.st_size} : 0;
}

qint64 readAt(int fd, char* bytes, qint64 countBytes, qint64 positionBytes)
{
    qint64 done = 0;
    while (done < countBytes) {
        const qint64 wanted = std::min(countBytes - done, kMaxBytesPerCall);
        const ssize_t got = seams().read(fd, bytes + done, static_cast<size_t>(wanted), positionBytes + done);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += got;
    }
    return done;
}

IoResult writeAt(int fd, const char* bytes, qint64 countBytes, qint64 positionBytes)
{
    qint64 done = 0;
    while (done < countBytes) {
        const qint64 wanted = std::min(countBytes - done, kMaxBytesPerCall);
        const ssize_t written =
            seams().write(fd, bytes + done, static_cast<size_t>(wanted), positionBytes + done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return IoResult(written < 0 ? errno : ENOSPC);
        done += written;
    }
    return {};
}

void copyPermissions(const QString& from, const QString& to)
{
    struct stat status = {};
    if (::stat(QFile::encodeName(from).constData(), &status) != 0)
        return;
    const QByteArray path = QFile::encodeName(to);
    // Only root may give files away; everybody else keeps at least the mode.
    if (::chown(path.constData(), status.st_uid, status.st_gid) != 0 ||
        ::chmod(path.constData(), status.st_mode & 07777) != 0)
        static_cast<void>(::chmod(path.constData(), status.st_mode & 0777));
}

IoResult truncateFile(int fd, qint64 sizeBytes)
{
    return resultOf(seams().truncate(fd, sizeBytes));
}

IoResult synchronizeFile(int fd)
{
    return resultOf(seams().synchronize(fd));
}

IoResult renameFile(const QString& from, const QString& to)
{
    return resultOf(seams().rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()));
}

IoResult removeFile(const QString& path)
{
    const IoResult result = resultOf(seams().remove(QFile::encodeName(path).constData()));
    return result.error() == ENOENT ? IoResult() : result;
}

IoResult closeFile(QFile& file)
{
    file.unsetError();
    file.close();
    return file.error() == QFileDevice::NoError ? IoResult() : IoResult(EIO);
}

} // namespace Kiv::Internal
