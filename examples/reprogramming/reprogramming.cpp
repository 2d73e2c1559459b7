// SPDX-License-Identifier: MIT
// A whole reprogramming, call by call: docs/reprogramming.md goes through it. The ECU and the bus
// are those of the host library, simulated; a host of your own brings its bus, and a runner like
// host/runner.
//
//     reprogramming can|gateway|kline FOLDER
//
// writes every document into FOLDER as it is after its run.
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "quillmark/host/files.h"
#include "quillmark/host/runner.h"
#include "quillmark/host/simulated_bus.h"
#include "quillmark/host/simulated_ecu.h"
#include "quillmark/quillmark.h"

namespace {

using namespace quillmark;
using Document = std::shared_ptr<DOMDocument>;

constexpr std::uint8_t kMemory = 0x00;        // RL: which memory of the ECU
constexpr std::uint8_t kCheckRoutine = 0x02;  // the ECU's routine that checks it
constexpr std::int32_t kAddress = 0x8000;
constexpr std::int32_t kNotReprogrammable = 4000;

// How the ECU is reached: by two identifiers, or by its address behind a gateway or on a K line.
struct Link {
  host::TransportForm form;
  std::int32_t RCANId;
  std::int32_t XCANId;
};

// Runs documents on the bus, and keeps them in a folder.
class DocumentRunner {
 public:
  DocumentRunner(host::Bus& bus, host::TransportForm form, std::filesystem::path folder)
      : runner_(bus, form), bus_(bus), folder_(std::move(folder)) {}

  // The outcome is not looked at: the runner has marked a failure with `e`, and the check that the
  // document goes to next says what it means.
  Document Run(const std::string& name, const Document& document) {
    static_cast<void>(runner_.Run(*document));
    host::WriteFile(folder_ / (name + ".xml"), document->xml() + '\n');
    return document;
  }

  void Pause() { bus_.Wait(std::chrono::milliseconds(100)); }

 private:
  host::Runner runner_;
  host::Bus& bus_;
  std::filesystem::path folder_;
};

// [identify]
void Identify(const Link& link, DiagOnCANReprog& reprog, DocumentRunner& runner) {
  const Document document = runner.Run("01-identify", reprog.StartDiag());
  std::shared_ptr<ByteString> identification;
  ByteStringArray history;
  ByteStringArray reprogrammings;
  try {
    reprog.gethisto(document, history, reprogrammings, identification);
  } catch (const Error& error) {
    // On a K line the identification is all that there is, and comes with this error.
    const bool is_k_line = link.form == host::TransportForm::kKLine;
    if (!is_k_line || error.Number() != kNotReprogrammable || !identification) {
      throw;
    }
  }
  std::cout << "identification " << identification->Hex() << '\n';
}
// [identify]

// [unlock]
void Unlock(Platform& platform, DiagOnCANReprog& reprog, DocumentRunner& runner) {
  const auto seed = reprog.getseed(runner.Run("02-seed", reprog.readseed()));
  const auto key = platform.CreateByteString();
  key->SetHex(host::HexOf(host::SimulatedKey(host::BytesOfHex(seed->Hex()).value())));
  reprog.checkunlock(runner.Run("03-key", reprog.dounlock(key)));
  std::cout << "seed " << seed->Hex() << ", key " << key->Hex() << " accepted\n";
}
// [unlock]

// [erase]
void Erase(DiagOnCANReprog& reprog, DocumentRunner& runner) {
  reprog.checkstarterase(runner.Run("04-start-erase", reprog.starterase(kMemory)));
  for (int poll = 1;; ++poll) {
    const Document status =
        runner.Run("05-erase-poll-" + std::to_string(poll), reprog.checkerase());
    if (reprog.checkcheckerase(status)) {
      break;
    }
    runner.Pause();
  }
  std::cout << "erased\n";
}
// [erase]

// [stream]
// Runs and checks every document that a transfer streams. The handler is called on the worker's
// thread, while this one waits. It keeps what goes wrong in it, since a worker's error reaches
// nobody.
template <typename Start, typename Check>
void Transfer(PortablePlatform& platform, DiagOnCANReprog& reprog, std::int32_t size, Start start,
              Check run_and_check) {
  std::int32_t covered = 0;
  std::exception_ptr failure;
  reprog.OnXMLReady([&](const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
    if (node == nullptr) {
      return;  // the end
    }
    try {
      const auto document = std::dynamic_pointer_cast<DOMDocument>(node);
      run_and_check(document);
      covered += std::stoi(document->documentElement()->getAttribute("totalbytes").value());
      cancel = false;  // left true, it ends the transfer
    } catch (...) {
      failure = std::current_exception();
    }
  });
  start();
  platform.WaitForWorkers();
  if (failure) {
    std::rethrow_exception(failure);
  }
  if (covered != size) {
    throw std::runtime_error("the worker ended before all was computed");
  }
}
// [stream]

// [download]
// The handler checks with an object of its own, since ComputeDownload may not have returned yet.
void Download(const std::shared_ptr<PortablePlatform>& platform, DiagOnCANReprog& reprog,
              DocumentRunner& runner, const std::shared_ptr<ByteString>& program) {
  const auto image = platform->CreateMemoryImage();
  image->AddSegment(*program);
  const auto checker = CreateDiagOnCANReprog(platform);
  Transfer(
      *platform, reprog, program->Length(),
      [&] { reprog.ComputeDownload(kMemory, image, 0xFF, 16, 240); },
      [&](const Document& document) {
        checker->checkdownload(runner.Run("06-download", document));
      });
  std::cout << "downloaded " << program->Length() << " bytes\n";
}
// [download]

// [check]
void Check(DiagOnCANReprog& reprog, DocumentRunner& runner) {
  const Document started = runner.Run("07-start-check", reprog.startroutine(kCheckRoutine));
  reprog.checkstartroutine(started, kCheckRoutine);
  for (int poll = 1;; ++poll) {
    const Document status =
        runner.Run("08-check-poll-" + std::to_string(poll), reprog.routinestatus(kCheckRoutine));
    if (reprog.checkroutine(status, kCheckRoutine)) {
      break;
    }
    runner.Pause();
  }
  std::cout << "checked by the ECU\n";
}
// [check]

// [upload]
void Verify(const Link& link, const std::shared_ptr<PortablePlatform>& platform,
            DiagOnCANReprog& reprog, DocumentRunner& runner, const ByteString& program) {
  const auto map = platform->CreateMemoryMap();
  map->AddRange(program.StartAddress(), program.Length());
  const auto found = platform->CreateMemoryImage();
  const auto checker = CreateDiagOnCANReprog(platform);
  checker->CANIDs(link.RCANId, link.XCANId);  // it reads replies, so it has to know their form
  Transfer(
      *platform, reprog, program.Length(), [&] { reprog.ComputeUpload(map, kMemory); },
      [&](const Document& document) {
        checker->checkupload(runner.Run("09-upload", document), found);
      });
  std::string read;
  for (const auto& segment : found->Segments()) {
    read += segment->Hex();
  }
  std::cout << (read == program.Hex() ? "read back and found equal\n" : "DIFFERENT\n");
}
// [upload]

// [close]
void Close(Platform& platform, DiagOnCANReprog& reprog, DocumentRunner& runner) {
  const auto record = platform.CreateByteString();
  record->SetHex("514D");  // a record has 48 bytes, the others are 0
  reprog.checkwritelogzone(runner.Run("10-log-zone", reprog.writelogzone(record)));
  static_cast<void>(runner.Run("11-close", reprog.stopcomm()));  // a reply without a check
  std::cout << "closed\n";
}
// [close]

// [whole]
void Reprogram(const Link& link, DocumentRunner& runner) {
  const auto platform = CreatePortablePlatform();
  const auto program = platform->CreateByteString();
  program->SetHex("5155494C4C4D41524B2068656C6C6F20454355210A");
  program->SetStartAddress(kAddress);

  const auto reprog = CreateDiagOnCANReprog(platform);
  reprog->CANIDs(link.RCANId, link.XCANId);
  reprog->FlowControl(1, 0);  // what the ECU asks for: block size, separation time in ms
  Identify(link, *reprog, runner);
  Unlock(*platform, *reprog, runner);
  Erase(*reprog, runner);
  Download(platform, *reprog, runner, program);
  Check(*reprog, runner);
  Verify(link, platform, *reprog, runner, *program);
  Close(*platform, *reprog, runner);
}
// [whole]

host::EcuOptions EcuAt(const Link& link) {
  host::EcuOptions options;
  options.form = link.form;
  if (link.RCANId == 0) {
    options.address = static_cast<std::uint8_t>(link.XCANId);
  }
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  static const std::map<std::string, Link> kLinks = {
      {"can", {host::TransportForm::kPlainCan, 1850, 1586}},  // receive on 0x73A, send on 0x632
      {"gateway", {host::TransportForm::kGateway, 0, 0x6E}},
      {"kline", {host::TransportForm::kKLine, 0, 0x11}}};
  if (argc != 3 || kLinks.count(argv[1]) == 0) {
    std::cerr << "usage: reprogramming can|gateway|kline FOLDER\n";
    return 64;
  }
  try {
    const Link& link = kLinks.at(argv[1]);
    host::SimulatedEcu ecu(EcuAt(link));
    host::SimulatedBus bus(ecu);
    DocumentRunner runner(bus, link.form, argv[2]);
    Reprogram(link, runner);
  } catch (const Error& error) {
    std::cerr << "error " << error.Number() << ": " << error.Description() << '\n';
    return 1;
  } catch (const std::exception& error) {
    std::cerr << "reprogramming: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
