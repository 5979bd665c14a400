#pragma once

#include <QStyledItemDelegate>

namespace platform::qt {

// Draws a disk: its picture, its name, and beneath it its state.
class DiskRowDelegate : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;

  void paint(QPainter* painter, const QStyleOptionViewItem& option,
             const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
};

}  // namespace platform::qt
