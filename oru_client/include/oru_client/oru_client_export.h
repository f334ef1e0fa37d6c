#pragma once

#include <QtGlobal>

// Only what carries this mark leaves liboru_client.
#if defined(ORU_CLIENT_LIBRARY)
#define ORU_CLIENT_EXPORT Q_DECL_EXPORT
#else
#define ORU_CLIENT_EXPORT Q_DECL_IMPORT
#endif
