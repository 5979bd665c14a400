#include "device/QVRamDiskDevice.h"
#include "extensions/StringsFile.h"
#include "system/ExtendedAttributes.h"

bool QVRamDiskDevice::setExtendedRamDiskInfos(const Infos& infos, const Text& path) {
  if (!path || infos.empty()) return false;
  return QVSetExtendedAttribute(extensions::stringsFileText(infos), kRamDiskInfoAttributeName,
                                path);
}

bool QVRamDiskDevice::getExtentedRamDiskInfos(Infos& infos, const Text& path) {
  std::string value;
  if (!path || !QVGetExtentedAttribute(&value, kRamDiskInfoAttributeName, path)) return false;
  auto parsed = value.empty() ? std::nullopt : extensions::parseStringsFile(value);
  if (!parsed || parsed->empty()) return false;
  infos = std::move(*parsed);
  return true;
}
