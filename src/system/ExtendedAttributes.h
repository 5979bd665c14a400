#pragma once
// Extended attributes of a file itself; links are never followed. Any thread.

#include <optional>
#include <string>
#include <vector>

// Sets the attribute, or removes it when no value is given.
bool QVSetExtendedAttribute(const std::optional<std::string>& value,
                            const std::optional<std::string>& name,
                            const std::optional<std::string>& path);
bool QVGetExtentedAttribute(std::string* value, const std::optional<std::string>& name,
                            const std::optional<std::string>& path);
bool QVGetXAttrNames(std::vector<std::string>* names, const char* path);
