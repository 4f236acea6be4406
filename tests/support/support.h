// All that a family's test needs. tests/arith/abs_diff_test.cpp shows it in use.
#pragma once

#include "support/case.h"
#include "support/compare.h"
#include "support/contract.h"
#include "support/data.h"
#include "support/described.h"
#include "support/guarded.h"
#include "support/sweep.h"
