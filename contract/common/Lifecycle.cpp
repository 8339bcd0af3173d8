#include "contract/common/Lifecycle.h"

namespace connector::common {

Lifecycle::~Lifecycle() = default; // out of line, so that the type information has one home

} // namespace connector::common
