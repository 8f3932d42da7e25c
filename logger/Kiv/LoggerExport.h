#pragma once

#include <QtCore/qglobal.h>

#if defined(KIVLOGGER_LIBRARY)
#define KIVLOGGER_EXPORT Q_DECL_EXPORT
#else
#define KIVLOGGER_EXPORT Q_DECL_IMPORT
#endif
