#pragma once
// The name under which this port has known the descriptor; use the leaf's instead.

#include "leaf/Descriptor.h"

namespace platform {
using FileDescriptor = ::Descriptor;
}
