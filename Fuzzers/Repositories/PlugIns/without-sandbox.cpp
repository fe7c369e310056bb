#include "GitPlugIn.h"
#include "QRBSourceControlPlugInMain.h"

int main() {
  GitProtections protections;
  protections.sandbox = false;
  return QRBSourceControlRunPlugIn(std::make_shared<GitPlugIn>(protections));
}
