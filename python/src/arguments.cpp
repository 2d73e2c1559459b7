// SPDX-License-Identifier: MIT
#include "arguments.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "quillmark/error.h"
#include "transfer_platform.h"

namespace quillmark::python {
std::int32_t IntegerOf(py::handle number, std::int32_t lowest, std::int32_t highest) {
  const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(number.ptr()));
  if (!index) {
    throw py::error_already_set();
  }
  int overflow = 0;
  const long long value = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
  if (overflow != 0 || value < lowest || value > highest) {
    throw Error(error_number::kOverflow, Error::DefaultDescription(error_number::kOverflow) +
                                             ": expected " + std::to_string(lowest) + " to " +
                                             std::to_string(highest) + ", found " +
                                             ShortTextOf(index));
  }
  return static_cast<std::int32_t>(value);
}

std::string ShortTextOf(py::handle value) {
  try {
    return py::cast<std::string>(py::module_::import("reprlib").attr("repr")(value));
  } catch (const py::error_already_set&) {
    // An integer that is too long to be shown, or a type that cannot.
    return "one of type " + py::cast<std::string>(py::type::of(value).attr("__name__"));
  }
}

ByteArgument BytesOf(py::handle source) {
  Py_buffer view{};
  if (PyObject_GetBuffer(source.ptr(), &view, PyBUF_SIMPLE) != 0) {
    throw py::error_already_set();
  }
  const auto* const first = static_cast<const std::uint8_t*>(view.buf);
  ByteArgument argument{{first, first + view.len}};
  PyBuffer_Release(&view);
  return argument;
}

std::chrono::milliseconds MillisecondsOf(double seconds) {
  constexpr double kLongest = INT32_MAX / 1000.0;
  const bool fits = seconds >= 0 && seconds <= kLongest;  // which no NaN does
  if (!fits) {
    throw py::value_error("expected 0 to 2147483 seconds, found " +
                          ShortTextOf(py::float_(seconds)));
  }
  return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
}

host::RunnerTiming TimingOf(double p2, double p2_star, int max_pending, double pending_limit,
                            int max_wait_frames) {
  if (max_pending < 0 || max_wait_frames < 0) {
    throw py::value_error("expected max_pending and max_wait_frames of at least 0, found " +
                          std::to_string(std::min(max_pending, max_wait_frames)));
  }
  return {.p2 = MillisecondsOf(p2),
          .p2_star = MillisecondsOf(p2_star),
          .max_pending = max_pending,
          .pending_limit = MillisecondsOf(pending_limit),
          .max_wait_frames = max_wait_frames};
}

std::pair<py::object, py::object> PairOf(py::handle pair, const char* what) {
  const bool is_pair = PySequence_Check(pair.ptr()) != 0 && PySequence_Size(pair.ptr()) == 2;
  if (!is_pair) {
    PyErr_Clear();
    throw py::type_error(std::string("expected pairs of ") + what + ", found " + ShortTextOf(pair));
  }
  return {pair[py::int_(0)], pair[py::int_(1)]};
}

std::shared_ptr<ByteString> NativeOf(const ByteArgument& argument) {
  auto string = SharedPlatform()->CreateByteString();
  string->SetBytes(argument.bytes);
  return string;
}

py::bytes PythonBytes(host::ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

py::bytes PythonBytes(const ByteString& string) {
  py::bytes result;
  string.ReadBytes([&](std::span<const std::uint8_t> bytes) { result = PythonBytes(bytes); });
  return result;
}

py::object OptionalBytes(const std::shared_ptr<ByteString>& string) {
  return string ? py::object(PythonBytes(*string)) : py::none();
}

host::TransportForm FormOf(std::string_view name) {
  if (const auto form = host::TransportFormOfName(name)) {
    return *form;
  }
  throw py::value_error("form: expected 'can', 'gateway' or 'kline', found " +
                        ShortTextOf(py::str(name)));
}

}  // namespace quillmark::python
