#include <fmt/format.h>

#include "host/tool/command.h"
#include "host/tool/connection.h"
#include "host/tool/image_report.h"
#include "host/tool/interrupt.h"
#include "host/tool/link_options.h"
#include "host/tool/recording.h"
#include "host/tool/session_options.h"
#include "host/tool/text.h"
#include "host/tool/transfer_options.h"

namespace quillmark::host {
namespace {

struct Options {
  LinkOptions link;
  SessionOptions session;
  RecordingOptions recording;
  TransferOptions transfer;
  FlashOptions flash;
};

ProgrammerConfig ConfigOf(const Options& options) {
  ProgrammerConfig config = MakeConfig(options.link, options.session);
  config.memory = options.transfer.memory;
  config.fill_byte = options.transfer.fill;
  config.alignment = options.transfer.alignment;
  config.max_block = options.transfer.block;
  config.check_routine = options.flash.check_routine;
  config.log_record = options.flash.log_record;
  return config;
}

void Report(Reporter& reporter, const ProgramResult& result) {
  const std::string ecu = RecordText(result.identification.record);
  reporter.Line(fmt::format("ecu       {}", ecu));
  reporter.Line(fmt::format("sent      {} in {}, {}; {} left out as fill",
                            BytesText(result.sent_bytes), TimeText(result.download_time),
                            RateText(result.sent_bytes, result.download_time),
                            BytesText(result.image_bytes - result.sent_bytes)));
  reporter.Line("check     the ECU's check routine found the memory right");
  if (result.verified_bytes > 0) {
    reporter.Line(
        fmt::format("verify    {} read back and found equal", BytesText(result.verified_bytes)));
  }
  reporter.Line(fmt::format("done      in {} of bus time", TimeText(result.total_time)));
  reporter.Event("done", {{"ecu", ecu},
                          {"image_bytes", result.image_bytes},
                          {"sent_bytes", result.sent_bytes},
                          {"verified_bytes", result.verified_bytes},
                          {"download_seconds", SecondsOf(result.download_time)},
                          {"seconds", SecondsOf(result.total_time)}});
}

void Run(const Options& options, Reporter& reporter) {
  CheckLinkOptions(options.link);
  CheckTransferOptions(options.transfer, options.link);
  const ImageFile image = ReadImageOf(options.transfer);
  CatchInterrupts();
  Recording recording(options.recording, options.link.form);
  Connection connection(options.link, options.session, ConfigOf(options),
                        [&recording](Bus& bus) { return recording.Tap(bus); });
  ReportImage(reporter, options.transfer.file, image);
  connection.programmer().OnProgress(
      [&reporter](const Progress& progress) { reporter.OnProgress(progress); });
  const ProgramResult result = connection.programmer().Program(
      ToMemoryImage(image.segments, connection.platform()), {.verify = options.flash.verify});
  reporter.EndProgress();
  Report(reporter, result);
  recording.Close();
}

}  // namespace

void AddFlashCommand(CLI::App& app, Command& command) {
  CLI::App& flash = *app.add_subcommand("flash", "write an image into the ECU");
  const auto options = std::make_shared<Options>();
  AddTransferOptions(flash, options->transfer);
  AddLinkOptions(flash, options->link);
  AddSessionOptions(flash, options->session);
  AddFlashOptions(flash, options->flash);
  AddRecordingOptions(flash, options->recording);
  AddJsonOption(flash, command);
  flash.callback([options, &command] {
    command.run = [options](Reporter& reporter) { Run(*options, reporter); };
  });
}

}  // namespace quillmark::host
