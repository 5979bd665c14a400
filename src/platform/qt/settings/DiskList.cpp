#include "platform/qt/settings/DiskList.h"

#include <QApplication>
#include <QMimeData>
#include <QPainter>
#include <QStyledItemDelegate>
#include <algorithm>
#include <memory>

#include "core/QVLocalized.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/qt/QtText.h"
#include "platform/qt/drawing/QtCanvas.h"

namespace platform::qt {
namespace {

constexpr char kRowType[] = "application/x-tarnvale-disk";

bool areSameDisks(const std::vector<DiskRow>& a, const std::vector<DiskRow>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& one, const auto& other) {
    return one.identifier == other.identifier;
  });
}

// --- A row as it is drawn

void paintWhole(Canvas& canvas, const ImagePtr& image, Rect to, double opacity) {
  if (!image) return;
  canvas.draw(image, to, {0, 0, image->size().width, image->size().height}, Compositing::SourceOver,
              opacity);
}

// A disk's picture as the menu shows it, with its kind's badge; paler unless it is mounted.
void paintDisk(QPainter& painter, const QRect& rect, QVRamDiskType type, bool mounted) {
  constexpr double kLarge = 128;  // points of the pictures that are scaled down
  constexpr double kPale = 0.5;
  const double opacity = mounted ? 1 : kPale;
  const Size size{static_cast<double>(rect.width()), static_cast<double>(rect.height())};
  painter.save();
  painter.translate(rect.topLeft());
  QtCanvas canvas(painter, size);
  paintWhole(canvas, QVRamDiskManager::ramDiskIcon(kLarge), {0, 0, size.width, size.height},
             opacity);
  paintWhole(canvas, QVRamDiskManager::specificIconFromType(type, kLarge),
             {size.width / 2, 0, size.width / 2, size.height / 2}, opacity);
  painter.restore();
}

constexpr int kMargin = 8;
constexpr int kPicture = 32;

QFont smaller(QFont font) {
  constexpr double kShare = 0.88;
  font.setPointSizeF(font.pointSizeF() * kShare);
  return font;
}

QFont bold(QFont font) {
  font.setWeight(QFont::DemiBold);
  return font;
}

void drawLine(QPainter& painter, const QRect& rect, const QFont& font, const QColor& color,
              const QString& text) {
  painter.setFont(font);
  painter.setPen(color);
  painter.drawText(rect, Qt::AlignLeft | Qt::AlignVCenter,
                   painter.fontMetrics().elidedText(text, Qt::ElideMiddle, rect.width()));
}

class RowDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

void RowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                        const QModelIndex& index) const {
  QStyleOptionViewItem ground = option;
  initStyleOption(&ground, index);
  ground.text.clear();
  const bool selected = (option.state & QStyle::State_Selected) != 0;
  QApplication::style()->drawControl(QStyle::CE_ItemViewItem, &ground, painter, option.widget);
  const auto role = selected ? QPalette::HighlightedText : QPalette::Text;
  const QColor ink = ground.palette.color(QPalette::Active, role);
  QColor quiet = ink;
  constexpr float kQuiet = 0.7F;
  quiet.setAlphaF(kQuiet);

  painter->save();
  QRect rest = option.rect.adjusted(kMargin, kMargin - 1, -kMargin, 1 - kMargin);
  const QRect picture(rest.left(), rest.center().y() - kPicture / 2, kPicture, kPicture);
  paintDisk(*painter, picture,
            static_cast<QVRamDiskType>(index.data(DiskListModel::TypeRole).toLongLong()),
            index.data(DiskListModel::MountedRole).toBool());
  rest.setLeft(picture.right() + kMargin + 2);
  const QFont nameFont = bold(option.font);
  const int nameHeight = QFontMetrics(nameFont).height();
  const bool edited = index.data(DiskListModel::EditedRole).toBool();
  drawLine(*painter, QRect(rest.left(), rest.top(), rest.width(), nameHeight), nameFont, ink,
           index.data().toString() + (edited ? QStringLiteral(" •") : QString()));
  drawLine(*painter, rest.adjusted(0, nameHeight, 0, 0), smaller(option.font), quiet,
           index.data(DiskListModel::DetailRole).toString());
  painter->restore();
}

QSize RowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
  const int lines =
      QFontMetrics(bold(option.font)).height() + QFontMetrics(smaller(option.font)).height();
  return {0, lines + 2 * kMargin};
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

QListView* makeDiskList(DiskListModel& model, QWidget* parent) {
  auto* list = new QListView(parent);
  list->setModel(&model);
  list->setItemDelegate(new RowDelegate(list));
  list->setObjectName("disks");
  list->setAccessibleName(qtText(QVLocalized("RAM Disks")));
  list->setDragDropMode(QAbstractItemView::InternalMove);
  list->setDefaultDropAction(Qt::MoveAction);
  list->setDropIndicatorShown(true);
  list->setDragDropOverwriteMode(false);
  return list;
}

}  // namespace platform::qt
