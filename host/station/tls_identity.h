// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

struct ssl_ctx_st;

namespace quillmark::host {

/// What a server proves itself with: a certificate that the user brings, with those of its issuers,
/// and its key.
class TlsIdentity {
 public:
  /// Of files in PEM form. Raises ToolError and CannotReadFile for what no browser or no server
  /// could work with; no text has anything of the key in it.
  TlsIdentity(const std::filesystem::path& certificate, const std::filesystem::path& key,
              std::chrono::system_clock::time_point now = std::chrono::system_clock::now());

  /// The hosts that the certificate is for, as they stand in a URL: "bench.example", "*.example",
  /// "192.0.2.1", "[2001:db8::1]". At least one.
  [[nodiscard]] const std::vector<std::string>& names() const { return names_; }
  /// Its last day in UTC, "2027-01-31".
  [[nodiscard]] const std::string& last_day() const { return last_day_; }

  /// OpenSSL's context of a server with TLS 1.2 and newer. The caller frees it.
  [[nodiscard]] ssl_ctx_st* Share() const;

 private:
  std::shared_ptr<ssl_ctx_st> context_;
  std::vector<std::string> names_;
  std::string last_day_;
};

}  // namespace quillmark::host
