#include "host/tool/recording.h"

#include "host/trace/tracing_bus.h"

namespace quillmark::host {

void AddRecordingOptions(CLI::App& app, RecordingOptions& options) {
  app.add_option("--trace", options.trace,
                 "record every frame: .log as candump does, .asc for Vector tools; on a K line "
                 ".log or .txt, readable lines")
      ->type_name("FILE");
}

Recording::Recording(const RecordingOptions& options, TransportForm form) {
  if (!options.trace.empty()) {
    trace_.emplace(options.trace, TraceFormatOfName(options.trace, form));
  }
}

std::unique_ptr<Bus> Recording::Tap(Bus& bus) {
  if (!trace_) {
    return nullptr;
  }
  return std::make_unique<TracingBus>(bus,
                                      [this](const TraceEntry& entry) { trace_->Write(entry); });
}

void Recording::Close() {
  if (trace_) {
    trace_->Close();
  }
}

}  // namespace quillmark::host
