#include <gtest/gtest.h>

#include "tests/support/PrivateNamespace.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return runInPrivateNamespace([] { return RUN_ALL_TESTS(); });
}
