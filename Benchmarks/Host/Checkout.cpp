#include "Checkout.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "Measuring.h"
#include "QRBSourceControlAwaiting.h"
#include "QRBSourceControlMultiCancellable.h"
#include "QRBSourceControlWorkspace.h"
#include "QRBSourceControlWorkspaceBlueprint.h"

nlohmann::json checkOutBlueprint(const std::string& file, const std::string& folder) {
  auto blueprint = QRBSourceControlWorkspaceBlueprint::initWithBlueprintFile(qrb::URL::fileURL(file));
  if (blueprint == nullptr || blueprint->remoteRepositories().empty())
    throw std::runtime_error("no blueprint: " + file);
  double cpu = measuring::ownCPU() + measuring::childrenCPU();
  auto start = measuring::Clock::now();
  auto [completion, future] = qrb::futureCompletion<QRBSourceControlWorkspacePtr, QRBSourceControlWorkingCopyRemotesPtr,
                                                    QRBSourceControlRemoteRepositoryErrorsPtr>();
  blueprint->createWorkingCopiesAtURL(
      qrb::URL::fileURL(folder, true), [](const qrb::String&, double, double) {}, std::move(completion));
  auto [workspace, remotes, errors, error] = future.get();
  double wall = measuring::milliseconds(measuring::Clock::now() - start);
  if (error) throw std::runtime_error(error.description());
  for (const auto& [repository, failure] : *errors) throw std::runtime_error(failure.description());
  measuring::waitForChildren();
  return {{"wall", wall}, {"cpu", measuring::ownCPU() + measuring::childrenCPU() - cpu}};
}
