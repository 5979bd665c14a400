#include "ramdisk/QVRamDisk.h"
#include "ramdisk/QVRamDiskCreation.h"

void QVRamDisk::performCreate(const QVRamDiskDelegatePtr& delegate) {
  setAction(QVRamDiskActionCreate);
  inform(delegate, QVRamDiskActionInfo_creating, nullptr);
  QVErrorPtr error;
  createWithDelegate(delegate, error);
  setAction(QVRamDiskActionNone);
  inform(delegate, QVRamDiskActionInfo_creating, error);
}

bool QVRamDisk::createWithDelegate(const QVRamDiskDelegatePtr& delegate, QVErrorPtr& error) {
  QVRamDiskCreation creation(shared_from_this(), delegate);
  const bool created = creation.run();
  error = creation.error();
  return created;
}
