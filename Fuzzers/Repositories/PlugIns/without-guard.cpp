#include "GitPlugIn.h"
#include "QRBSourceControlPlugInMain.h"

int main() {
  GitProtections protections;
  protections.guard = false;
  return QRBSourceControlRunPlugIn(std::make_shared<GitPlugIn>(protections));
}
