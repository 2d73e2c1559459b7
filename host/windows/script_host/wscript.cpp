// SPDX-License-Identifier: MIT
#include "host/windows/script_host/wscript.h"

#include <array>
#include <cstdio>
#include <iostream>
#include <limits>
#include <utility>

#include "base/checked.h"
#include "base/com/apartment.h"
#include "base/com/dispatch.h"
#include "base/com/status.h"
#include "quillmark/error.h"

namespace quillmark::script_host {
namespace {

constexpr std::size_t kAnyNumber = std::numeric_limits<std::int32_t>::max();

enum : DISPID {
  kEcho = 1,
  kSleep,
  kQuit,
  kCreateObject,
  kConnectObject,
  kDisconnectObject,
  kArguments,
  kScriptFullName,
};

constexpr std::array<com::Member, 8> kMembers = {
    {{.name = L"Echo", .id = kEcho, .optional_arguments = kAnyNumber},
     {.name = L"Sleep", .id = kSleep, .arguments = 1},
     {.name = L"Quit", .id = kQuit, .optional_arguments = 1},
     {.name = L"CreateObject", .id = kCreateObject, .arguments = 1, .optional_arguments = 1},
     {.name = L"ConnectObject", .id = kConnectObject, .arguments = 2},
     {.name = L"DisconnectObject", .id = kDisconnectObject, .arguments = 1},
     {.name = L"Arguments", .id = kArguments, .optional_arguments = 1},
     {.name = L"ScriptFullName", .id = kScriptFullName}}};

/// The arguments of the command line.
class ArgumentList final : public com::Scriptable {
 public:
  explicit ArgumentList(std::vector<std::wstring> values) : values_(std::move(values)) {}

 private:
  enum : DISPID { kItem = DISPID_VALUE, kCount = 1, kLength };
  static constexpr std::array<com::Member, 3> kListMembers = {
      {{L"Item", kItem, 1}, {L"Count", kCount}, {L"Length", kLength}}};

  [[nodiscard]] std::span<const com::Member> Members() const override { return kListMembers; }
  [[nodiscard]] com::Variant Get(DISPID id, const com::Arguments& arguments) override {
    if (id != kItem) {
      return com::Variant::OfLong(checked::Convert<std::int32_t>(values_.size()));
    }
    const std::int32_t index = arguments.Long(0);
    if (!std::in_range<std::size_t>(index) || static_cast<std::size_t>(index) >= values_.size()) {
      throw Error(error_number::kSubscriptOutOfRange);
    }
    return com::Variant::OfText(
        com::Bstr(std::wstring_view(values_[static_cast<std::size_t>(index)])));
  }

  std::vector<std::wstring> values_;
};

void Echo(const com::Arguments& arguments) {
  for (std::size_t index = 0; index < arguments.Count(); ++index) {
    std::cout << (index == 0 ? "" : " ") << arguments.Text(index).utf8();
  }
  std::cout << '\n' << std::flush;
}

// Code that waits for a worker or an event must not continue: the process ends here, without
// destroying its objects.
[[noreturn]] void Quit(const com::Arguments& arguments) {
  const std::int32_t code = arguments.Count() == 0 ? 0 : arguments.Long(0);
  std::cout << std::flush;
  std::fflush(nullptr);
  ExitProcess(static_cast<UINT>(code));
}

}  // namespace

WScript::WScript(std::wstring script_file, std::vector<std::wstring> arguments)
    : script_file_(std::move(script_file)),
      arguments_(com::ComPtr<IDispatch>::Adopt(new ArgumentList(std::move(arguments)))) {}

void WScript::Disconnect() {
  connections_.clear();
  script_ = {};
}

std::span<const com::Member> WScript::Members() const { return kMembers; }

com::Variant WScript::Get(DISPID id, const com::Arguments& arguments) {
  switch (id) {
    case kEcho:
      Echo(arguments);
      return {};
    case kSleep:
      com::PumpFor(std::chrono::milliseconds(arguments.Long(0)));
      return {};
    case kQuit:
      Quit(arguments);
    case kCreateObject:
      return CreateObject(arguments);
    case kConnectObject:
      Connect(arguments.Object(0), arguments.Text(1).view());
      return {};
    case kDisconnectObject: {
      const auto object = arguments.Object(0);
      connections_.remove_if([&](const Connection& held) { return held.IsOf(object); });
      return {};
    }
    case kArguments:
      return ArgumentOf(arguments);
    default:
      return com::Variant::OfText(com::Bstr(std::wstring_view(script_file_)));
  }
}

com::Variant WScript::ArgumentOf(const com::Arguments& arguments) {
  if (arguments.Count() == 0) {
    return com::Variant::OfObject(arguments_);
  }
  // Basic writes `Arguments(0)` for the item of the list.
  const com::Variant index = com::Variant::OfLong(arguments.Long(0));
  return com::Call(*arguments_, DISPID_VALUE, {&index.get()});
}

com::Variant WScript::CreateObject(const com::Arguments& arguments) {
  const com::Bstr prog_id = arguments.Text(0);
  CLSID id = {};
  if (FAILED(CLSIDFromProgID(prog_id.get(), &id))) {
    throw Error(error_number::kCannotCreateObject,
                "ActiveX component can't create object: " + prog_id.utf8());
  }
  com::ComPtr<IDispatch> object;
  const HRESULT status =
      CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, object.PutVoid());
  if (FAILED(status)) {
    throw com::ReportedError(status);
  }
  if (arguments.Count() > 1) {
    Connect(object, arguments.Text(1).view());
  }
  return com::Variant::OfObject(std::move(object));
}

void WScript::Connect(const com::ComPtr<IDispatch>& object, std::wstring_view prefix) {
  connections_.emplace_back(object, script_, std::wstring(prefix));
}

}  // namespace quillmark::script_host
