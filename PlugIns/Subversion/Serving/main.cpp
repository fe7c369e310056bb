#include "QRBSourceControlPlugInMain.h"
#include "SubversionPlugIn.h"
#include "SubversionTidying.h"

int main(int count, char** arguments) {
  if (auto status = subversionTidyUp({arguments, static_cast<std::size_t>(count)})) return *status;
  return QRBSourceControlRunPlugIn(std::make_shared<SubversionPlugIn>());
}
