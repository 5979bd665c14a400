#include "platform/qt/settings/DiskRowDelegate.h"

#include <QApplication>
#include <QPainter>

#include "platform/qt/settings/DiskListModel.h"
#include "platform/qt/settings/DiskPicture.h"
#include "platform/qt/settings/Texts.h"

namespace platform::qt {
namespace {

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

}  // namespace

void DiskRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
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

QSize DiskRowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
  const int lines =
      QFontMetrics(bold(option.font)).height() + QFontMetrics(smaller(option.font)).height();
  return {0, lines + 2 * kMargin};
}

}  // namespace platform::qt
