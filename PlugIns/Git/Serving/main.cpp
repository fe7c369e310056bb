#include "GitPlugIn.h"
#include "GitTidying.h"
#include "QRBSourceControlPlugInMain.h"

int main(int count, char** arguments) {
  if (auto status = gitTidyUp({arguments, static_cast<std::size_t>(count)})) return *status;
  return QRBSourceControlRunPlugIn(std::make_shared<GitPlugIn>());
}
