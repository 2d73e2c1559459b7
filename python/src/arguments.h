// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "interpreter.h"
#include "quillmark/byte_string.h"
#include "quillmark/host/bus.h"
#include "quillmark/host/runner.h"

namespace quillmark::python {

/// Arguments as the component declares them. A number outside their range raises Error 6, as in
/// every language that the component serves; anything but an integer is a TypeError.
struct Byte {
  std::uint8_t value = 0;
};
struct Long {
  std::int32_t value = 0;
};

/// A value for the text of an error, shortened like reprlib does.
[[nodiscard]] std::string ShortTextOf(py::handle value);

/// `bytes`, or anything else with a buffer of contiguous bytes.
struct ByteArgument {
  std::vector<std::uint8_t> bytes;
};

/// An integer from `lowest` to `highest`. Raises Error 6, and TypeError.
[[nodiscard]] std::int32_t IntegerOf(py::handle number, std::int32_t lowest, std::int32_t highest);

/// Raises TypeError.
[[nodiscard]] ByteArgument BytesOf(py::handle source);

/// At least as many milliseconds as `seconds`. Raises ValueError below 0 and beyond 24 days, the
/// most that a Long of milliseconds can hold.
[[nodiscard]] std::chrono::milliseconds MillisecondsOf(double seconds);

/// The limits of a runner, times in seconds. Raises ValueError for one that is out of range.
[[nodiscard]] host::RunnerTiming TimingOf(double p2, double p2_star, int max_pending,
                                          double pending_limit, int max_wait_frames);

/// The two items of a pair, which is `what`. Raises TypeError for anything else.
[[nodiscard]] std::pair<py::object, py::object> PairOf(py::handle pair, const char* what);

[[nodiscard]] inline std::uint8_t NativeOf(Byte argument) { return argument.value; }
[[nodiscard]] inline std::int32_t NativeOf(Long argument) { return argument.value; }
[[nodiscard]] std::shared_ptr<ByteString> NativeOf(const ByteArgument& argument);

/// `bytes`.
[[nodiscard]] py::bytes PythonBytes(host::ByteView bytes);
[[nodiscard]] py::bytes PythonBytes(const ByteString& string);
/// `bytes`, None for null.
[[nodiscard]] py::object OptionalBytes(const std::shared_ptr<ByteString>& string);

/// "can", "gateway" or "kline". Raises ValueError for any other.
[[nodiscard]] host::TransportForm FormOf(std::string_view name);

}  // namespace quillmark::python

namespace pybind11::detail {

template <>
struct type_caster<quillmark::python::Byte> {
  PYBIND11_TYPE_CASTER(quillmark::python::Byte, const_name("int"));
  bool load(handle source, bool /*convert*/) {
    if (PyIndex_Check(source.ptr()) == 0) {
      return false;
    }
    value.value = static_cast<std::uint8_t>(quillmark::python::IntegerOf(source, 0, UINT8_MAX));
    return true;
  }
};

template <>
struct type_caster<quillmark::python::Long> {
  PYBIND11_TYPE_CASTER(quillmark::python::Long, const_name("int"));
  bool load(handle source, bool /*convert*/) {
    if (PyIndex_Check(source.ptr()) == 0) {
      return false;
    }
    value.value = quillmark::python::IntegerOf(source, INT32_MIN, INT32_MAX);
    return true;
  }
};

template <>
struct type_caster<quillmark::python::ByteArgument> {
  PYBIND11_TYPE_CASTER(quillmark::python::ByteArgument, const_name("bytes"));
  bool load(handle source, bool /*convert*/) {
    if (PyObject_CheckBuffer(source.ptr()) == 0) {
      return false;
    }
    value = quillmark::python::BytesOf(source);
    return true;
  }
};

}  // namespace pybind11::detail
