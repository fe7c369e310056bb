#include "Systems.h"

#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlSystem.h"

namespace host {

ListedSystems listSystems(Session& session) {
  auto found = std::make_shared<ListedSystems>();
  qrb::Error error = session.perform("Looking for plug-ins", [&](Session::Done done) {
    return QRBSourceControlSystem::sourceControlSystemsWithCompletionBlock([found, done](const auto& systems) {
      if (systems == nullptr) return done(QRBSourceControlError_Canceled());
      found->systems = *systems;
      done({});
    });
  });
  found->error = error;
  return *found;
}

}  // namespace host
