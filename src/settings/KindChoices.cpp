#include "settings/KindChoices.h"

#include <array>

#include "core/QVLocalized.h"
#include "core/Trouble.h"

namespace settings {
namespace {

constexpr std::array kOffered = {
    QVRamDiskType_Default,      QVRamDiskType_Safari,        QVRamDiskType_XcodeBuild,
    QVRamDiskType_IOsSimulator, QVRamDiskType_CoreSimulator, QVRamDiskType_AppCodeCaches,
    QVRamDiskType_Firefox,      QVRamDiskType_Chrome,        QVRamDiskType_Opera};

KindChoice::State stateOf(const QVCreationInfos& infos) {
  if (infos.status == 1) return KindChoice::State::Available;
  return infos.status == 0 ? KindChoice::State::Unusable : KindChoice::State::NotInstalled;
}

}  // namespace

std::vector<KindChoice> kindChoices() {
  std::vector<KindChoice> choices;
  for (const auto type : kOffered) {
    const auto infos = QVRamDiskManager::creationInfosOfRamDiskType(type, std::nullopt);
    if (!infos) continue;
    KindChoice choice{.type = type, .state = stateOf(*infos), .infos = *infos};
    if (choice.state == KindChoice::State::Available)
      QVRamDiskManager::hasRunningAppForType(type, &choice.running);
    choices.push_back(std::move(choice));
  }
  return choices;
}

std::string nameOfKind(QVRamDiskType kind) {
  constexpr std::array kKeys = {"QVRamDiskType_Default",       "",
                                "QVRamDiskType_Safari",        "QVRamDiskType_XcodeBuild",
                                "QVRamDiskType_IOsSimulator",  "QVRamDiskType_CoreSimulator",
                                "QVRamDiskType_AppCodeCaches", "QVRamDiskType_Firefox",
                                "QVRamDiskType_Chrome",        "QVRamDiskType_Opera"};
  const auto number = static_cast<std::size_t>(kind);
  return number < kKeys.size() ? QVLocalized(kKeys.at(number), "QVRamDiskLocalizable") : "";
}

std::string reasonTextOf(const KindChoice& kind) {
  switch (kind.state) {
    case KindChoice::State::NotInstalled:
      return whatHappened(Trouble::KindNotInstalled);
    case KindChoice::State::Unusable:
      return whatHappened(Trouble::KindUnusable);
    default:
      return kind.running.value_or("");
  }
}

}  // namespace settings
