#pragma once

#include <QtGlobal>

#if defined(ORU_DGW_SDK_LIBRARY)
#define ORU_SDK_EXPORT Q_DECL_EXPORT
#else
#define ORU_SDK_EXPORT Q_DECL_IMPORT
#endif
