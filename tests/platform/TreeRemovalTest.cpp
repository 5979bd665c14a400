#include "platform/posix/TreeRemoval.h"

#include "tests/support/TreeRemovalCases.h"

namespace removal {

struct PosixRemover {
  platform::Outcome remove(const std::string& path) const { return platform::removeTree(path); }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Posix, TreeRemovalCases, PosixRemover);

}  // namespace removal
