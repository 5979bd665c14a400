#pragma once

#include <QCheckBox>
#include <QWidget>
#include <functional>
#include <optional>

#include "platform/qt/settings/Fields.h"
#include "settings/Registry.h"

namespace platform::qt {

// The switches that hold for the program as a whole. Each takes effect at once.
class GeneralPage : public QWidget {
 public:
  using Told = std::function<void(const settings::Outcome&)>;

  // `told` is called after every change, with what went wrong.
  GeneralPage(settings::Registry& registry, Told told, QWidget* parent);

  void refresh();  // from the registry

 private:
  void layOut();
  void connectAll();
  void turnMenuBar(bool show);

  settings::Registry& registry_;
  Told told_;
  QCheckBox* menuBar_;
  QCheckBox* atLogin_;
  Choice* icon_;
  QCheckBox* saveAtEnd_;
};

}  // namespace platform::qt
