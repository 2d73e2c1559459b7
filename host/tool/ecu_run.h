// SPDX-License-Identifier: MIT
#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/tool/link_options.h"
#include "host/tool/memory_file.h"
#include "host/tool/profile.h"
#include "host/tool/recording.h"
#include "host/tool/session_options.h"
#include "host/tool/surroundings.h"
#include "host/tool/transfer_options.h"
#include "quillmark/host/plan.h"
#include "quillmark/host/programmer.h"

namespace quillmark::host {

/// What was done, for a run that succeeded and could not be reported.
inline constexpr const char* kFlashEffect = "the flash itself succeeded";

/// All that a flash is told: the ECU, how it is reached, what is sent, and what is left behind.
struct FlashSettings {
  LinkOptions link;
  SessionOptions session;
  TransferOptions transfer;
  FlashOptions flash;
  RecordingOptions recording;
};

/// Adds what a profile can say and what else concerns the flash of one ECU: all but the images and
/// the recording. `settings` must outlive the parsing.
void AddEcuFlashOptions(CLI::App& app, FlashSettings& settings);

/// The settings in effect that say how the ECU is reached and flashed.
[[nodiscard]] Profile SettingsOf(const FlashSettings& flash);

/// One flash of one ECU: identification, battery, record, backup, question, programming, artifacts.
/// It depends on nothing of its process but files; several may run at once, each on its own thread.
/// An object is used by one thread at a time.
class FlashRun {
 public:
  /// Checks the settings, the images and the files against each other. Creates and sends nothing.
  /// Raises CLI::ValidationError, ToolError and what ReadImagesOf raises.
  explicit FlashRun(const FlashSettings& settings);
  /// With these images instead of those that the settings name; several runs may share them.
  FlashRun(FlashSettings settings, std::shared_ptr<const Images> images);

  [[nodiscard]] const FlashSettings& settings() const { return settings_; }
  [[nodiscard]] const Images& images() const { return *images_; }

  /// Leaves artifacts in this folder instead of the one of the settings; empty: none.
  void LeaveArtifactsIn(const std::string& folder) { settings_.recording.artifacts = folder; }

  /// What the download will send, computed at the first call. Raises ToolError where it is stopped.
  const DownloadPlan& Plan(const std::function<bool()>& stop_requested);

  /// Flashes, and tells the reporter of the surroundings all of it. Raises if that fails; see
  /// ReportCurrentException. It can be called again.
  void Run(const Surroundings& surroundings);

 private:
  void Flash(std::optional<MemoryFile>& backup, Recording& recording,
             const Surroundings& surroundings);
  [[nodiscard]] Json ToJson(const DownloadPlan& plan) const;

  FlashSettings settings_;
  std::shared_ptr<const Images> images_;
  std::optional<DownloadPlan> plan_;
};

/// Reads identification and history of the ECU and tells the reporter of the surroundings. Raises
/// CLI::ValidationError for settings that do not go together, and what a Connection and its
/// programmer raise.
Identification Identify(const LinkOptions& link, const SessionOptions& session,
                        const Surroundings& surroundings);

}  // namespace quillmark::host
