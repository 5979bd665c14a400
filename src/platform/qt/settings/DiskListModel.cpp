#include "platform/qt/settings/DiskListModel.h"

#include <QMimeData>
#include <algorithm>
#include <memory>

namespace platform::qt {
namespace {

constexpr char kRowType[] = "application/x-tarnvale-disk";

bool areSameDisks(const std::vector<DiskRow>& a, const std::vector<DiskRow>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& one, const auto& other) {
    return one.identifier == other.identifier;
  });
}

}  // namespace

void DiskListModel::setRows(std::vector<DiskRow> rows) {
  if (!areSameDisks(rows, rows_)) {
    beginResetModel();
    rows_ = std::move(rows);
    endResetModel();
    return;
  }
  const auto before = std::exchange(rows_, std::move(rows));
  for (int row = 0; row < rowCount(); ++row)
    if (before.at(static_cast<std::size_t>(row)) != rows_.at(static_cast<std::size_t>(row)))
      Q_EMIT dataChanged(index(row), index(row));
}

int DiskListModel::rowOf(const QString& identifier) const {
  const auto found = std::find_if(rows_.begin(), rows_.end(),
                                  [&](const auto& row) { return row.identifier == identifier; });
  return found == rows_.end() ? -1 : static_cast<int>(found - rows_.begin());
}

int DiskListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant DiskListModel::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid)) return {};
  const DiskRow& row = rows_.at(static_cast<std::size_t>(index.row()));
  switch (role) {
    case Qt::DisplayRole:
      return row.name;
    case Qt::AccessibleTextRole:
      return row.name + ", " + row.detail;
    case Qt::ToolTipRole:
    case DetailRole:
      return row.detail;
    case TypeRole:
      return static_cast<qlonglong>(row.type);
    case MountedRole:
      return row.mounted;
    case EditedRole:
      return row.edited;
    case IdentifierRole:
      return row.identifier;
    default:
      return {};
  }
}

// Between the rows, not on one, is where a row can be dropped.
Qt::ItemFlags DiskListModel::flags(const QModelIndex& index) const {
  if (!index.isValid()) return Qt::ItemIsDropEnabled;
  return Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
}

Qt::DropActions DiskListModel::supportedDropActions() const { return Qt::MoveAction; }

QStringList DiskListModel::mimeTypes() const { return {kRowType}; }

QMimeData* DiskListModel::mimeData(const QModelIndexList& indexes) const {
  auto data = std::make_unique<QMimeData>();
  if (!indexes.isEmpty())
    data->setData(kRowType, indexes.first().data(IdentifierRole).toString().toUtf8());
  return data.release();  // Qt's own
}

// NO even when it was taken: the view would remove the row that was dragged.
bool DiskListModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                                 const QModelIndex& parent) {
  if (action != Qt::MoveAction || !data->hasFormat(kRowType) || !moved) return false;
  const int gap = parent.isValid() ? parent.row() : row;
  moved(QString::fromUtf8(data->data(kRowType)), gap < 0 ? rowCount() : gap);
  return false;
}

}  // namespace platform::qt
