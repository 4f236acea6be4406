#include "frame/bodies.h"
#include "frame/core.h"

namespace qor::inline QOR_LEVEL {
namespace {

constexpr QorLibraryVersion versionRecord(const char* name) {
  return {8, 2, 1, 44077, QOR_VARIANT_CODE, name, "8.2.1 (r44077)", "Oct  9 2014"};
}

constexpr QorLibraryVersion s_libVer = versionRecord(QOR_VARIANT_NAME);
constexpr QorLibraryVersion s_libVer_t = versionRecord(QOR_VARIANT_NAME "+");

}  // namespace
}  // namespace qor

extern "C" const QorLibraryVersion* QOR_VARIANT_BODY(qorcvGetLibVersion)(void) {
  constexpr uint64_t wideVectors = 128;
  return ownGetFeature(wideVectors) != 0 ? &qor::s_libVer_t : &qor::s_libVer;
}
