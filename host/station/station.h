// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/station/bay.h"
#include "host/station/http_server.h"
#include "host/tool/ecu_run.h"

namespace quillmark::host {

/// What a bay of a station is made of.
struct StationBay {
  std::string name;
  /// Without images; whatever they say, a flash asks before it erases, and leaves artifacts where
  /// the station says.
  FlashSettings settings;
};

/// Bays and their page in the browser, served to one user. Who has `url()` with its token, or the
/// password, can do all that the page can; nobody else can, and no page from elsewhere. Buses, key
/// commands and folders are those of the settings: no request names one.
class Station {
 public:
  struct Settings {
    std::string address = "127.0.0.1";  ///< one of this machine's
    std::uint16_t port = 0;             ///< 0: any that is free
    /// Both are needed for an address that other machines reach; see HttpServer.
    std::shared_ptr<const TlsIdentity> identity{};
    std::string password{};
    std::string records;              ///< the file that the page shows; empty: none
    std::string server;               ///< the URL of that with all stations' runs; empty: none
    std::filesystem::path artifacts;  ///< each flash leaves a folder in it; empty: none does
    /// Opens a bus that is not `sim:`; empty: OpenBus.
    std::function<std::unique_ptr<Bus>(const BusUri&)> open_bus{};
  };

  /// Listens. Raises CannotListen.
  Station(Settings settings, std::vector<StationBay> bays);
  Station(const Station&) = delete;
  Station& operator=(const Station&) = delete;
  Station(Station&&) = delete;
  Station& operator=(Station&&) = delete;
  /// As `Stop`, and closes all connections.
  ~Station();

  /// What to open in a browser. Without a password it has a secret that is another each time.
  [[nodiscard]] std::string url() const { return server_->url(); }

  /// Begins nothing more, and ends what the bays do at the next safe points. Returns at once; what
  /// becomes of the bays is still shown.
  void Stop();
  /// The bays that are at work.
  [[nodiscard]] std::size_t busy() const;
  /// What a process that ended now would leave behind, the worst of all bays.
  [[nodiscard]] EcuMemory memory() const;

 private:
  class Place;

  [[nodiscard]] std::vector<HttpRoute> Routes();
  [[nodiscard]] Place& PlaceOf(const HttpRequest& request) const;
  [[nodiscard]] HttpRoute Asking(const char* what,
                                 std::function<void(Place&, const HttpRequest&)> ask,
                                 std::size_t most_body = 0);
  [[nodiscard]] std::vector<RunRecord> RunsOf(const RunFilter& filter) const;
  [[nodiscard]] std::size_t SendWhatIsLeft(StationRecords& server) const;
  /// Those that the server has, with what it has missed. Raises RecordsError.
  [[nodiscard]] std::vector<RunRecord> RunsOfAll(const RunFilter& filter);

  Settings settings_;
  std::mutex server_mutex_;
  std::condition_variable server_is_free_;
  bool is_asking_ = false;
  std::string server_problem_;
  std::chrono::steady_clock::time_point ask_again_;
  std::vector<std::unique_ptr<Place>> places_;
  std::unique_ptr<HttpServer> server_;
};

/// The runs that a query of the record asks for. Raises HttpError.
[[nodiscard]] RunFilter FilterOf(const HttpRequest& request);

}  // namespace quillmark::host
