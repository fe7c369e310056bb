#pragma once

#include <fstream>
#include <iterator>

#include "EngineTesting.h"
#include "QRBSourceControlMessage.h"

namespace qrb::test {

template <class... T>
std::string encoded(const std::tuple<T...>& values) {
  std::string bytes;
  ArchiveWriterTables tables;
  ArchiveWriter writer(bytes, tables);
  writeValues(writer, values);
  return bytes;
}

/// Tests against a plug-in that keeps the one request it is sent and answers what it is told beforehand.
class RecorderTest : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    usePlugIn("recorder");
  }

  template <class... R>
  void writeReply(const std::tuple<R...>& reply, const Error& error) {
    std::string bytes;
    ArchiveWriterTables tables;
    ArchiveWriter writer(bytes, tables);
    Codec<Error>::write(writer, error);
    writeValues(writer, reply);
    std::ofstream(plugInFolder("recorder") / "reply", std::ios::binary) << bytes;
  }

  std::string readRequest() const {
    std::ifstream file(plugInFolder("recorder") / "request", std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(file)), {});
  }
};

}  // namespace qrb::test
