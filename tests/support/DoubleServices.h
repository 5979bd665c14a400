#pragma once

#include <memory>
#include <string>

#include "tests/support/Doubles.h"

// A double that is there from the beginning, and may be replaced.
template <class Double>
struct Made : std::shared_ptr<Double> {
  using std::shared_ptr<Double>::operator=;
  Made() : std::shared_ptr<Double>(std::make_shared<Double>()) {}
};

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

  Made<doubles::RecordingLog> log;
  Made<doubles::DirectMainLoop> loop;
  Made<doubles::RecordingAlerts> alerts;
  Made<doubles::FakeBundle> bundle;
  Made<doubles::FakeDefaults> defaults;
  Made<doubles::FakeApplications> applications;
  Made<doubles::FakeWorkspace> workspace;
  Made<doubles::FakeNotifications> notifications;
  Made<doubles::FakeLoginItems> loginItems;
  Made<doubles::FakeSessionEnd> sessionEnd;
  Made<doubles::FakeMachine> machine;
  std::shared_ptr<doubles::FakePlaces> places;
  Made<platform::Graphics> graphics;
};
