#include "platform/parallel/basic_parallelizer.h"

namespace trel {

BasicAction::~BasicAction() = default;
BasicParallelizer::~BasicParallelizer() = default;

}  // namespace trel
