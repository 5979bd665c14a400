#pragma once

#include <memory>
#include <string>

#include "tests/support/Doubles.h"

// A whole platform of doubles, laid out below one folder. Members are there to be dictated to;
// files and volumes are left for the test to set.
struct DoubleServices {
  explicit DoubleServices(const std::string& root)
      : places(std::make_shared<doubles::FakePlaces>(root)) {}

  platform::Services services() const {
    platform::Services all;
    all.systemLog = log;
    all.mainLoop = loop;
    all.alerts = alerts;
    all.bundle = bundle;
    all.defaults = defaults;
    all.applications = applications;
    all.workspace = workspace;
    all.notifications = notifications;
    all.loginItems = loginItems;
    all.sessionEnd = sessionEnd;
    all.machine = machine;
    all.places = places;
    all.graphics = graphics;
    return all;
  }

  std::shared_ptr<doubles::RecordingLog> log = std::make_shared<doubles::RecordingLog>();
  std::shared_ptr<doubles::DirectMainLoop> loop = std::make_shared<doubles::DirectMainLoop>();
  std::shared_ptr<doubles::RecordingAlerts> alerts = std::make_shared<doubles::RecordingAlerts>();
  std::shared_ptr<doubles::FakeBundle> bundle = std::make_shared<doubles::FakeBundle>();
  std::shared_ptr<doubles::FakeDefaults> defaults = std::make_shared<doubles::FakeDefaults>();
  std::shared_ptr<doubles::FakeApplications> applications =
      std::make_shared<doubles::FakeApplications>();
  std::shared_ptr<doubles::FakeWorkspace> workspace = std::make_shared<doubles::FakeWorkspace>();
  std::shared_ptr<doubles::FakeNotifications> notifications =
      std::make_shared<doubles::FakeNotifications>();
  std::shared_ptr<doubles::FakeLoginItems> loginItems = std::make_shared<doubles::FakeLoginItems>();
  std::shared_ptr<doubles::FakeSessionEnd> sessionEnd = std::make_shared<doubles::FakeSessionEnd>();
  std::shared_ptr<doubles::FakeMachine> machine = std::make_shared<doubles::FakeMachine>();
  std::shared_ptr<doubles::FakePlaces> places;
  std::shared_ptr<platform::Graphics> graphics = std::make_shared<platform::Graphics>();
};
