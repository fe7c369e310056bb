#include "BenchmarkData.h"

#include <cstdio>
#include <random>

#include "GitHistoryReader.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlStatusValues.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlWorkingCopy.h"
#include "StatusCollector.h"

namespace benchmarkdata {

namespace {

constexpr std::string_view words[] = {"archive", "branch",  "cache",  "delta",  "engine", "filter", "graph", "handle",
                                      "index",   "journal", "kernel", "lookup", "merge",  "object", "parser"};

std::string path(std::uint64_t number) {
  auto word = [&](std::uint64_t divisor) { return std::string(words[number / divisor % std::size(words)]); };
  return "src/" + word(1) + "/" + word(15) + "_part/" + word(225) + "_" + std::to_string(number) + ".cpp";
}

QRBSourceControlWorkingCopyPtr workingCopy() {
  auto folder = qrb::URL::fileURL("/home/user/project");
  auto system = QRBSourceControlSystem::initWithName("Git", "org.qrb.Orlix.sourcecontrol.Git", "1", ".git",
                                                     std::set<qrb::String>{".git"}, true, true, false, false, false, 1);
  return QRBSourceControlWorkingCopy::initWithFileURLUnidentifiableRepository(
      folder, QRBSourceControlRepository::initWithURL(folder, system));
}

}  // namespace

std::string logOutput(std::int64_t count) {
  std::mt19937_64 source(1);
  std::string output;
  for (std::int64_t number = 0; number < count; ++number) {
    char hash[48];
    std::snprintf(hash, sizeof hash, "%016llx%016llx%08x", static_cast<unsigned long long>(source()),
                  static_cast<unsigned long long>(source()), static_cast<unsigned>(source()));
    std::string author = std::to_string(source() % 200);
    output.append(hash).append(1, '\0').append(hash).append(1, '\0').append(std::to_string(1500000000 + number));
    output.append(1, '\0').append("Person " + author).append(1, '\0').append("person" + author + "@example.org");
    output.append(1, '\0').append("Handle the " + path(source() % 3375) + " of the engine\n").append(2, '\0');
    output.back() = '\n';
    for (std::uint64_t change = 0; change < 2 + source() % 2; ++change) {
      output.append("M").append(1, '\0').append(path(source() % 3375)).append(1, '\0');
    }
  }
  return output;
}

Items logItems(std::int64_t count) {
  GitHistoryReader reader({}, false, workingCopy(), nullptr);
  if (!reader.feed(logOutput(count)) || !reader.finish()) return {};
  return reader.items();
}

std::string statusOutput(std::int64_t count) {
  std::string output;
  for (std::int64_t number = 0; number < count; ++number) {
    output.append("1 .M N... 100644 100644 100644 ce013625030ba8dba906f756967f9e9ca394464a ");
    output.append("ce013625030ba8dba906f756967f9e9ca394464a ");
    output.append(path(static_cast<std::uint64_t>(number))).append(1, '\0');
  }
  return output;
}

QRBSourceControlPathStatusesPtr statuses(std::int64_t count) {
  qrb::StatusCollector collector;
  for (std::int64_t number = 0; number < count; ++number) {
    collector.add(path(static_cast<std::uint64_t>(number)), QRBSourceControlStatusModified);
  }
  return collector.take();
}

}  // namespace benchmarkdata
