#pragma once

#include <QLineEdit>
#include <QWidget>
#include <optional>
#include <string>

class QPushButton;

namespace platform::qt {

// A directory that is typed or chosen.
class PathField : public QWidget {
 public:
  PathField(const QString& name, QWidget* parent);

  QLineEdit* edit() const { return edit_; }
  // What is written, with the home directory for a tilde and for what is not absolute; nullopt for
  // nothing.
  std::optional<std::string> path() const;
  void setPath(
      const std::optional<std::string>& path);  // nothing happens when it says that already
  void setAbsent(const QString& text) { edit_->setPlaceholderText(text); }

 private:
  void choose();

  QLineEdit* edit_;
  QPushButton* button_;
};

}  // namespace platform::qt
