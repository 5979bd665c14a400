#pragma once

namespace kinds {

// Looks for the pictures and the applications anew, for tests.
void forgetIcons();

}  // namespace kinds
