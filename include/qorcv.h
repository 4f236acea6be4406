/**
 * @file qorcv.h
 * Umbrella header: every operation of the library.
 */
#ifndef QORCV_H
#define QORCV_H

#include "qorcv/arith.h"
#include "qorcv/distance.h"
#include "qorcv/feature.h"
#include "qorcv/filter.h"
#include "qorcv/geometry.h"
#include "qorcv/integral.h"
#include "qorcv/morph.h"
#include "qorcv/motion.h"
#include "qorcv/pyramid.h"
#include "qorcv/segment.h"
#include "qorcv/types.h"
#include "qorcv/version.h"

#endif
