#pragma once

#include <QtCore/qglobal.h>

/// Marks the classes of the public interface; everything else stays hidden inside the library.
#if defined(KIVTSFILESTORAGE_LIBRARY)
#define KIVTSFILESTORAGE_EXPORT Q_DECL_EXPORT
#else
#define KIVTSFILESTORAGE_EXPORT Q_DECL_IMPORT
#endif
