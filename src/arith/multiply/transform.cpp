#include "arith/multiply/transform.h"

namespace trel {

Transform::~Transform() = default;

}  // namespace trel
