#include "pipeline/Bulkhead.h"

namespace connector::http::pipeline {

Bulkhead::Place::Place(Bulkhead& bulkhead) noexcept
{
    auto taken = bulkhead.taken_.load();
    while (taken < bulkhead.limit_) {
        if (bulkhead.taken_.compare_exchange_weak(taken, taken + 1)) {
            bulkhead_ = &bulkhead;
            return;
        }
    }
}

Bulkhead::Place::~Place()
{
    if (bulkhead_ != nullptr) {
        --bulkhead_->taken_;
    }
}

} // namespace connector::http::pipeline
