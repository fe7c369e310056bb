#include "Systems.h"

#include "HostError.h"
#include "QRBSourceControlCancellable.h"
#include "QRBSourceControlError.h"
#include "QRBSourceControlManager.h"
#include "QRBSourceControlSystem.h"
#include "UnicodeText.h"

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

FoundSystem findSystemNamed(Session& session, const std::string& name) {
  auto [systems, error] = listSystems(session);
  if (error) return {nullptr, error};
  for (const QRBSourceControlSystemPtr& each : systems) {
    if (qrb::lowercased(each->name().view()) == qrb::lowercased(name)) return {each, {}};
  }
  return {nullptr,
          hostError("There is no system named \"" + name + "\".", "\"qrbscm systems\" shows which there are.", ENOENT)};
}

}  // namespace host
