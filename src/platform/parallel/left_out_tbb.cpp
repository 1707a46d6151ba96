// Compiled in place of tbb_framework.cpp where oneTBB is not installed.
#include "platform/parallel/framework_registry.h"

namespace trel {
namespace {

const LeftOutFramework g_left_out("tbb", "built without oneTBB; install libtbb-dev and run again");

}  // namespace
}  // namespace trel
