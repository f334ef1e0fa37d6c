#pragma once

#include <QString>
#include <QtGlobal>

#if defined(ORU_SDK_KIT_LIBRARY)
#define ORU_SDK_KIT_EXPORT Q_DECL_EXPORT
#else
#define ORU_SDK_KIT_EXPORT Q_DECL_IMPORT
#endif

// Opens (creating its folder if needed) the log file at `path`; every line
// carries `category`. Lines logged before this call are kept in memory and
// written once the file is open.
ORU_SDK_KIT_EXPORT void init_oru_log(const QString &path, const QString &category);

// One line per call: "yyyy-MM-dd hh:mm:ss.zzz [level] [category] " + tag + text.
// Safe from any thread; never waits for the disk.
ORU_SDK_KIT_EXPORT void log_info(const QString &text, const QString &tag);
ORU_SDK_KIT_EXPORT void log_error(const QString &text, const QString &tag);
ORU_SDK_KIT_EXPORT void log_trace(const QString &text, const QString &tag);

// Blocks until every line logged so far is written to the file.
ORU_SDK_KIT_EXPORT void flush_oru_log();
