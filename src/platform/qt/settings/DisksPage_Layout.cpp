#include <QHBoxLayout>
#include <QScrollArea>
#include <QShortcut>
#include <QStackedWidget>
#include <QVBoxLayout>

#include "core/QVLocalized.h"
#include "platform/qt/settings/DisksPage.h"
#include "platform/qt/settings/Fields.h"

namespace platform::qt {
namespace {

constexpr int kPageMargin = 16;

QPushButton* button(const std::string& text, const char* name, QWidget* parent) {
  auto* made = new QPushButton(qtText(text), parent);
  made->setObjectName(name);
  return made;
}

QLabel* label(const char* name, QWidget* parent) {
  auto* made = new QLabel(parent);
  made->setObjectName(name);
  made->setWordWrap(true);
  made->setTextInteractionFlags(Qt::TextSelectableByMouse);
  return made;
}

void makeTitle(QLabel* label) {
  QFont font = label->font();
  constexpr double kLarger = 1.35;
  font.setPointSizeF(font.pointSizeF() * kLarger);
  font.setWeight(QFont::DemiBold);
  label->setFont(font);
}

QLabel* quietLabel(const char* name, QWidget* parent) {
  auto* made = new ToneLabel(ToneLabel::Tone::Quiet, parent);
  made->setObjectName(name);
  return made;
}

}  // namespace

DisksPage::DisksPage(settings::Registry& registry, Told told, QWidget* parent)
    : QWidget(parent), registry_(registry), told_(std::move(told)) {
  auto* columns = new QHBoxLayout(this);
  columns->setContentsMargins(kPageMargin, kPageMargin, kPageMargin, kPageMargin);
  columns->setSpacing(kPageMargin);
  columns->addWidget(makeList());
  pages_ = new QStackedWidget(this);
  pages_->addWidget(makeDetails());
  pages_->addWidget(makeEmptyPage());
  columns->addWidget(pages_, 1);
  connectAll();
}

QWidget* DisksPage::makeList() {
  constexpr int kWidth = 220;
  auto* column = new QWidget(this);
  column->setFixedWidth(kWidth);
  model_ = new DiskListModel;
  list_ = makeDiskList(*model_, column);
  model_->setParent(list_);
  add_ = button(QVLocalized("&Add"), "add", column);
  remove_ = button(QVLocalized("&Remove…"), "remove", column);
  auto* rows = new QVBoxLayout(column);
  rows->setContentsMargins(0, 0, 0, 0);
  rows->addWidget(list_, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(add_);
  buttons->addWidget(remove_);
  rows->addLayout(buttons);
  return column;
}

QWidget* DisksPage::makeDetails() {
  auto* page = new QWidget(this);
  title_ = label("title", page);
  state_ = quietLabel("state", page);
  lockReason_ = label("lockReason", page);
  makeTitle(title_);
  makePanel(*lockReason_, palette().color(QPalette::Highlight));
  form_ = new DiskForm(page);
  auto* scroll = new QScrollArea(page);
  scroll->setWidget(form_);
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setFocusPolicy(Qt::NoFocus);
  scroll->viewport()->setAutoFillBackground(false);
  form_->setAutoFillBackground(false);
  auto* rows = new QVBoxLayout(page);
  rows->setContentsMargins(0, 0, 0, 0);
  rows->addWidget(title_);
  rows->addWidget(state_);
  rows->addSpacing(kPageMargin / 4);
  rows->addWidget(lockReason_);
  rows->addSpacing(kPageMargin / 2);
  rows->addWidget(scroll, 1);
  rows->addWidget(makeButtons());
  return page;
}

QWidget* DisksPage::makeButtons() {
  auto* row = new QWidget(this);
  revert_ = button(QVLocalized("Re&vert"), "revert", row);
  apply_ = button(QVLocalized("A&pply"), "apply", row);
  auto* buttons = new QHBoxLayout(row);
  buttons->setContentsMargins(0, 0, 0, 0);
  buttons->addStretch(1);
  buttons->addWidget(revert_);
  buttons->addWidget(apply_);
  return row;
}

QWidget* DisksPage::makeEmptyPage() {
  auto* page = new QWidget(this);
  auto* title = label("emptyTitle", page);
  makeTitle(title);
  title->setText(qtText(QVLocalized("No RamDisk")));
  auto* text = quietLabel("emptyText", page);
  text->setText(qtText(QVLocalized("Add one to keep a directory in memory.")));
  auto* rows = new QVBoxLayout(page);
  rows->addStretch(1);
  for (auto* line : {title, text}) {
    line->setAlignment(Qt::AlignHCenter);
    rows->addWidget(line);
  }
  rows->addStretch(1);
  return page;
}

void DisksPage::connectAll() {
  connectKeys();
  form_->edited = [this] { takeEdits(); };
  form_->kindChosen = [this] { takeKind(); };
  model_->moved = [this](const QString& disk, std::int64_t gap) { move(disk, gap); };
  QObject::connect(add_, &QPushButton::clicked, this, [this] { add(); });
  QObject::connect(remove_, &QPushButton::clicked, this, [this] { askToRemove(); });
  QObject::connect(apply_, &QPushButton::clicked, this, [this] { apply(); });
  QObject::connect(revert_, &QPushButton::clicked, this, [this] { revert(); });
  QObject::connect(list_->selectionModel(), &QItemSelectionModel::currentChanged, this,
                   [this](const QModelIndex& current) {
                     if (refreshing_ || !current.isValid()) return;
                     selected_ = plainText(current.data(DiskListModel::IdentifierRole).toString());
                     showSelected();
                   });
}

// What the mouse does in the list.
void DisksPage::connectKeys() {
  const auto key = [this](const QKeySequence& keys, std::function<void()> done) {
    auto* shortcut = new QShortcut(keys, list_);
    shortcut->setContext(Qt::WidgetShortcut);
    QObject::connect(shortcut, &QShortcut::activated, this, std::move(done));
  };
  key(Qt::Key_Delete, [this] { askToRemove(); });
  key(Qt::ALT | Qt::Key_Up, [this] { moveSelected(-1); });
  key(Qt::ALT | Qt::Key_Down, [this] { moveSelected(+2); });  // the gap behind the next one
}

}  // namespace platform::qt
