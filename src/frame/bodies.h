// Declares the body of every exported name with the type of its public prototype. A definition that disagrees with the
// prototype does not compile, and one that is missing from the list of exports has no declaration, which is an error.
#pragma once

#include "frame/variant.h"
#include "qorcv.h"

#define QOR_EXPORT(name) extern "C" decltype(name) QOR_VARIANT_BODY(name);
#include "frame/exports.def"
#undef QOR_EXPORT

// Head of a body's definition: QOR_BODY(qoriX)(arguments) { return driver(arguments); }
#define QOR_BODY(name) extern "C" QorStatus QOR_VARIANT_BODY(name)
