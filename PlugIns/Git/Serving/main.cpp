#include "GitPlugIn.h"
#include "QRBSourceControlPlugInMain.h"

int main() {
  return QRBSourceControlRunPlugIn(std::make_shared<GitPlugIn>());
}
