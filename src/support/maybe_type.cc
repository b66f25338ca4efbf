#include "support/maybe_type.h"

#include "support/fatal.h"

namespace Tavix::Client::internal {

void FatalWrongAlternative() {
    FatalReport(kFatalMaybeTypeWrongAlternative);
}

}  // namespace Tavix::Client::internal
