// Looks at repositories made hostile, with the library and its real plug-in, and fails when one of them has its own
// program run, changes a file, fills the memory, or keeps a request waiting. --help tells the rest.
#include <getopt.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>

#include "Campaign.h"

namespace {

using qrb::hostile::Options;

constexpr const char* help =
    "qrb-hostile-repositories [OPTION]...\n"
    "  --seed N|random           what all cases follow from (1)\n"
    "  --case K                  this one alone, with all requests; it is kept\n"
    "  --from K                  the first case (0)\n"
    "  --cases N                 how many\n"
    "  --seconds S               begin no case after that time\n"
    "  --requests all|rotate     on each case all requests, or status, diff, blame and others in turn (rotate)\n"
    "  --jobs J                  how many cases at once, each with several requests at once (2)\n"
    "  --plug-in-directory DIR   the plug-in under test, in place of the one beside the library\n"
    "  --limit S                 how long a request may take (60)\n"
    "  --memory MIB              how much memory a process may need (256)\n"
    "  --inside                  what looking changes inside the repository is no failure\n"
    "  --keep                    keep every case, whether anything was found or not\n";

enum Flag : int {
  seed = 1,
  single,
  from,
  cases,
  seconds,
  requests,
  jobs,
  directory,
  limit,
  memory,
  inside,
  keep,
  usage
};

constexpr option flags[] = {{"seed", required_argument, nullptr, seed},
                            {"case", required_argument, nullptr, single},
                            {"from", required_argument, nullptr, from},
                            {"cases", required_argument, nullptr, cases},
                            {"seconds", required_argument, nullptr, seconds},
                            {"requests", required_argument, nullptr, requests},
                            {"jobs", required_argument, nullptr, jobs},
                            {"plug-in-directory", required_argument, nullptr, directory},
                            {"limit", required_argument, nullptr, limit},
                            {"memory", required_argument, nullptr, memory},
                            {"inside", no_argument, nullptr, inside},
                            {"keep", no_argument, nullptr, keep},
                            {"help", no_argument, nullptr, usage},
                            {nullptr, 0, nullptr, 0}};

std::uint64_t number(const std::string& text) {
  char* end = nullptr;
  errno = 0;
  std::uint64_t value = std::strtoull(text.c_str(), &end, 10);
  if (text.empty() || text[0] == '-' || *end != '\0' || errno != 0) {
    throw std::invalid_argument("\"" + text + "\" is no number; --help tells what is wanted");
  }
  return value;
}

std::uint64_t seedOf(const std::string& text) {
  return text == "random" ? std::random_device()() : number(text);
}

bool isAll(const std::string& text) {
  if (text != "all" && text != "rotate") throw std::invalid_argument("--requests takes all or rotate");
  return text == "all";
}

void take(Options& options, int flag, const std::string& value) {
  switch (flag) {
    case seed:
      options.seed = seedOf(value);
      break;
    case single:
      options.first = number(value);
      options.cases = options.jobs = 1;
      options.allRequests = options.keep = true;
      break;
    case from:
      options.first = number(value);
      break;
    case cases:
      options.cases = number(value);
      break;
    case seconds:
      options.seconds = number(value);
      break;
    case requests:
      options.allRequests = isAll(value);
      break;
    case jobs:
      options.jobs = number(value);
      break;
    case directory:
      options.plugInDirectory = std::filesystem::absolute(value).lexically_normal().string();
      break;
    case limit:
      options.limit = static_cast<unsigned>(number(value));
      break;
    case memory:
      options.memory = number(value);
      break;
    case inside:
      options.mayChangeInside = true;
      break;
    case keep:
      options.keep = true;
      break;
    default:
      throw std::invalid_argument("--help tells what may be asked for");
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Options options;
    for (int flag = 0; (flag = ::getopt_long(argc, argv, "", flags, nullptr)) != -1;) {
      if (flag == usage) return std::fputs(help, stdout) < 0;
      take(options, flag, optarg != nullptr ? optarg : "");
    }
    if (optind < argc) throw std::invalid_argument(std::string(argv[optind]) + " is too much; see --help");
    if (options.jobs == 0) throw std::invalid_argument("--jobs has to be 1 at least");
    if (options.cases == 0 && options.seconds == 0) options.cases = 1000;
    return qrb::hostile::Campaign(options).run() ? EXIT_SUCCESS : EXIT_FAILURE;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qrb-hostile-repositories: %s\n", error.what());
    return 2;
  }
}
