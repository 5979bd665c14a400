#include "platform/qt/shell/QtMainLoop.h"

#include <QAbstractButton>
#include <QMessageBox>
#include <QTimer>

#include "platform/qt/shell/QtAlerts.h"
#include "tests/shell/Desk.h"
#include "tests/support/MainLoopCases.h"

using namespace std::chrono_literals;
using platform::qt::QtAlerts;
using platform::qt::QtMainLoop;

namespace loops {
INSTANTIATE_TEST_SUITE_P(Qt, MainLoopCases, testing::Values(make<QtMainLoop>));
}

namespace {

class AlertsTest : public DeskTest {
 protected:
  static QMessageBox* shown() {
    for (QWidget* each : QApplication::topLevelWidgets())
      if (auto* box = qobject_cast<QMessageBox*>(each); box != nullptr && box->isVisible())
        return box;
    return nullptr;
  }
  static void choose(const QString& text) {
    for (auto* button : shown()->buttons())
      if (button->text() == text) clickAt(button->mapToGlobal(button->rect().center()));
  }

  QtAlerts alerts_;
  const platform::Alert question_{"Remove?", "It is gone then.", {"Remove", "Keep", "Cancel"}};
};

TEST_F(AlertsTest, SayWhichButtonWasChosenWhileTheLoopGoesOn) {
  QtMainLoop loop;
  std::size_t answer = 99;
  int beats = 0;
  loop.every(1ms, [&] { ++beats; });
  loop.post([&] {
    answer = alerts_.runModal(question_);
    loop.stop();
  });
  loop.post([&] {
    EXPECT_TRUE(until([&] { return beats > 3 && shown() != nullptr; }));
    EXPECT_EQ(shown()->text(), "Remove?");
    EXPECT_EQ(shown()->informativeText(), "It is gone then.");
    choose("Keep");
  });
  loop.run();
  EXPECT_EQ(answer, 1U);
}

TEST_F(AlertsTest, AreDismissedByTheirLastButtonAndByTheEnd) {
  QtMainLoop loop;
  std::vector<std::size_t> answers;
  loop.post([&] {
    answers.push_back(alerts_.runModal(question_));
    loop.post([&] {
      EXPECT_TRUE(until([] { return shown() != nullptr; }));
      loop.stop();
    });
    answers.push_back(alerts_.runModal({"Only text", "", {}}));
  });
  loop.post([&] {
    EXPECT_TRUE(until([&] { return shown() != nullptr; }));
    shown()->reject();
  });
  loop.run();
  EXPECT_EQ(answers, (std::vector<std::size_t>{2, 0}));
}

TEST_F(AlertsTest, ComeUpOnAWindowAndTellWhenTheyEnd) {
  QWidget widget;
  widget.show();
  const auto window = std::make_shared<platform::Window>(&widget);
  std::optional<std::size_t> answer;
  EXPECT_FALSE(alerts_.runAsSheet(question_, nullptr, [](std::size_t) { ADD_FAILURE(); }));
  EXPECT_TRUE(alerts_.runAsSheet(question_, window, [&](std::size_t chosen) { answer = chosen; }));
  EXPECT_FALSE(answer);
  ASSERT_TRUE(until([] { return shown() != nullptr; }));
  choose("Remove");
  EXPECT_TRUE(until([&] { return answer.has_value(); }));
  EXPECT_EQ(answer, 0U);
}

}  // namespace
