#pragma once
// Extended attributes of an item itself, links not followed. The names of users' attributes are
// given without the prefix "user." under which Linux keeps them. Errors name path and attribute.

#include <string>
#include <vector>

#include "platform/Result.h"

namespace platform {

Outcome setUserAttribute(const std::string& path, const std::string& name,
                         const std::string& value);
Outcome removeUserAttribute(const std::string& path, const std::string& name);

// A value whose size changed between asking for it and reading it is the error ERANGE.
Result<std::string> userAttribute(const std::string& path, const std::string& name);

// Every attribute's name as it is kept, with its prefix, also those that are not users'.
Result<std::vector<std::string>> allAttributeNames(const std::string& path);

}  // namespace platform
