// The transform that a long-lived power keeps from step to step.
#pragma once

#include "arith/multiply/transform.h"
#include "base/errors/exceptions.h"

namespace trel {

// Refers to a transform of its owner. Forward transforms of the power, made by one transform, stay valid when
// another of the same kind and size takes its place: that is what replace() insists on. Not synchronised.
class PowerTransform {
  public:
    explicit PowerTransform(const Transform& transform) : transform_(&transform) {}

    // Throws AlgorithmFailedException "Transforms are incompatible." and keeps the old one.
    void replace(const Transform& transform) {
        if (!transform_->compatible(transform) ||
            transform_->convolution_bits() != transform.convolution_bits() ||
            transform_->data_bytes() != transform.data_bytes()) {
            throw AlgorithmFailedException("PowerTransform::replace()", "Transforms are incompatible.");
        }
        transform_ = &transform;
    }
    const Transform& get() const { return *transform_; }

  private:
    const Transform* transform_;
};

}  // namespace trel
