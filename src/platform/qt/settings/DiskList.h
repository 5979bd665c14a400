#pragma once

#include <QAbstractListModel>
#include <QListView>
#include <cstdint>
#include <functional>
#include <vector>

#include "core/QVRamDiskTypes.h"

namespace platform::qt {

// What a row shows of a disk.
struct DiskRow {
  QString identifier{};
  QString name{};
  QString detail{};  // state and size
  QVRamDiskType type = QVRamDiskType_Default;
  bool mounted = false;
  bool edited = false;  // there are changes that are not applied

  bool operator==(const DiskRow&) const = default;
};

// The disks in their order. A row that is dropped elsewhere is told, and moves when the rows are
// set anew.
class DiskListModel : public QAbstractListModel {
 public:
  enum Role { DetailRole = Qt::UserRole, TypeRole, MountedRole, EditedRole, IdentifierRole };

  using Moved = std::function<void(const QString& identifier, std::int64_t gap)>;

  // Rows that stay are updated in place, so that the selection stays.
  void setRows(std::vector<DiskRow> rows);
  const std::vector<DiskRow>& rows() const { return rows_; }
  int rowOf(const QString& identifier) const;  // -1 for none

  Moved moved;

  int rowCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  Qt::DropActions supportedDropActions() const override;
  QStringList mimeTypes() const override;
  QMimeData* mimeData(const QModelIndexList& indexes) const override;
  bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                    const QModelIndex& parent) override;

 private:
  std::vector<DiskRow> rows_;
};

// The list that shows them: each with its picture, its name and beneath it its state, to be dragged
// to another place.
QListView* makeDiskList(DiskListModel& model, QWidget* parent);

}  // namespace platform::qt
