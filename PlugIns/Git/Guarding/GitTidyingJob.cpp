#include "GitTidyingJob.h"

#include <utility>

#include "OwnProgram.h"

qrb::Guard::Job gitTidyingJob(std::string_view kind, const std::string& folder, const timespec& since,
                              const std::vector<std::string>& more, std::string input) {
  qrb::Guard::Job job{{qrb::ownProgram(), std::string(gitTidyingOption), std::string(kind), folder,
                       std::to_string(since.tv_sec), std::to_string(since.tv_nsec)},
                      std::move(input)};
  job.arguments.insert(job.arguments.end(), more.begin(), more.end());
  return job;
}
