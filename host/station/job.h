// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/tool/ecu_run.h"
#include "host/tool/reporter.h"

namespace quillmark::host {

/// One bay of a job, as its file has it.
struct JobBay {
  struct Image {
    std::string file;
    std::optional<std::uint32_t> base;  ///< of a raw binary
  };
  /// An option of `flash` without its dashes.
  struct Option {
    std::string name;
    std::vector<std::string> words;
    std::string place;  ///< where in the file: "$.bays[0].p2"
  };

  std::string name;
  std::string place;  ///< "$.bays[0]"
  std::vector<Image> images;
  std::vector<Option> options;
};

/// What a job is read for.
enum class JobFor : std::uint8_t {
  kFlash,    ///< each bay has images
  kStation,  ///< a bay may be without: the page chooses them
};

/// Reads the text of a job: at least one bay, each with a name of its own and images. Raises
/// ToolError (data), whose text names the place in it.
[[nodiscard]] std::vector<JobBay> ParseJob(std::string_view text, JobFor use = JobFor::kFlash);

/// The settings of a bay. Names of files are below `folder` if they are relative; the name of a
/// profile without a folder is looked up as everywhere. Raises ToolError for what an option does
/// not take, and for a profile that cannot be used.
[[nodiscard]] FlashSettings SettingsOf(const JobBay& bay, const std::filesystem::path& folder);

/// The bays of a file, in which relative names are looked up beside it. Raises what the two above
/// raise, with the name of the file in front, and CannotReadFile.
[[nodiscard]] std::vector<std::pair<JobBay, FlashSettings>> ReadJob(const std::string& file,
                                                                    JobFor use);

/// Raises ToolError for two bays on one adapter, which could not both open it.
void RequireBusesOfTheirOwn(const std::vector<std::pair<JobBay, FlashSettings>>& bays);

/// Flashes several ECUs at once.
struct JobOptions {
  std::string file;
  bool yes = false;
  RecordingOptions recording;  ///< the artifacts of a bay lie in a folder of its name in this one
};

/// Runs a job: checks all of it, asks once, flashes every bay, and says of each how it ended.
/// Raises what is wrong with the job before anything is sent, and ToolError with the code of the
/// bay that is worst off where one is not done.
void RunJob(const JobOptions& options, ReportStyle style);

}  // namespace quillmark::host
