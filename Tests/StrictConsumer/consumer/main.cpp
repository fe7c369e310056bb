// The least that a host does: it asks which source control systems there are. That takes the installed library, the
// plug-ins installed beside it, and one process of each.
#include <QRBSourceControl/QRBSourceControl.h>

#include <cstdio>
#include <future>

int main() {
  std::promise<std::size_t> found;
  QRBSourceControlManager::sharedInstance()->sourceControlSystemsWithCompletionBlock(
      [&found](const auto& systems) { found.set_value(systems ? systems->size() : 0); });
  std::size_t count = found.get_future().get();
  std::printf("%zu source control systems\n", count);
  return count > 0 ? 0 : 1;
}
