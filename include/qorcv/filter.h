/**
 * @file filter.h
 * Linear filters: row and column pipelines, fixed kernels with borders, Gaussians, colour gradients.
 */
#ifndef QORCV_FILTER_H
#define QORCV_FILTER_H

#include "types.h"

#ifdef __cplusplus
extern "C" {
#endif

#ifdef __cplusplus
}
#endif

#endif
