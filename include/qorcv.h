/**
 * @file qorcv.h
 * Umbrella header: every operation of the library.
 */
#ifndef QORCV_H
#define QORCV_H

#include "qorcv/arith.h"
#include "qorcv/filter.h"
#include "qorcv/integral.h"
#include "qorcv/motion.h"
#include "qorcv/types.h"
#include "qorcv/version.h"

#endif
