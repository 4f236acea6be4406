/**
 * @file version.h
 * Version of the library that is loaded.
 */
#ifndef QORCV_VERSION_H
#define QORCV_VERSION_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup version Version
 * @{
 */

/** What the loaded library is. Constant data of the library; never freed. */
typedef struct {
  int32_t major;         /**< major version */
  int32_t minor;         /**< minor version */
  int32_t update;        /**< update of the minor version */
  int32_t revision;      /**< source revision */
  char cpuCode[4];       /**< code of the processor variant, zero padded */
  const char* name;      /**< name of the library and its processor level */
  const char* version;   /**< version as text */
  const char* buildDate; /**< date as text */
} QorLibraryVersion;

/**
 * Returns the version record of the loaded library.
 *
 * The record's name ends in a plus sign when the core library reports the processor feature #qorFeatureAvx for this
 * process. The same pointer comes back on every call; it may be called from any thread.
 */
const QorLibraryVersion* qorcvGetLibVersion(void);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
