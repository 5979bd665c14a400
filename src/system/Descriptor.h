#pragma once
// The name under which this room has known the descriptor; include the leaf's header instead.

#include "leaf/Descriptor.h"
