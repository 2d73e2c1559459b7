// SPDX-License-Identifier: MIT
#include "host/conformance/exercise.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <utility>

#include "host/ecu/k_message.h"
#include "quillmark/host/bytes.h"
#include "quillmark/quillmark.h"

namespace quillmark::host {
namespace {

using std::chrono::milliseconds;

constexpr std::size_t kCanFrame = 8;
constexpr std::uint8_t kPadding = 0xAA;
constexpr std::uint8_t kTester = 0xF1;
constexpr std::uint8_t kGatewayAddress = 0x6E;
constexpr std::uint8_t kKLineAddress = 0x11;
constexpr std::uint8_t kAcknowledgement = 0x81;

constexpr int kFirstAddress = 0x8000;
constexpr int kRead = 8;
constexpr std::uint8_t kArea = 1;

constexpr milliseconds kAnswerTime{10};
constexpr milliseconds kControlTime{1};

Bytes Padded(Bytes frame) {
  frame.resize(kCanFrame, kPadding);
  return frame;
}

std::vector<Bytes> PlainFrames(const Bytes& data) {
  constexpr std::size_t kInSingleFrame = 7;
  constexpr std::size_t kInFirstFrame = 6;
  if (data.size() <= kInSingleFrame) {
    Bytes frame{static_cast<std::uint8_t>(data.size())};
    frame.insert(frame.end(), data.begin(), data.end());
    return {Padded(std::move(frame))};
  }
  Bytes first{static_cast<std::uint8_t>(0x10U | data.size() >> 8U),
              static_cast<std::uint8_t>(data.size())};
  auto next = data.begin() + kInFirstFrame;
  first.insert(first.end(), data.begin(), next);
  std::vector<Bytes> frames{std::move(first)};
  while (next != data.end()) {
    Bytes frame{static_cast<std::uint8_t>(0x20U | (frames.size() & 0x0FU))};
    const auto end = next + std::min<std::ptrdiff_t>(kInSingleFrame, data.end() - next);
    frame.insert(frame.end(), next, end);
    next = end;
    frames.push_back(Padded(std::move(frame)));
  }
  return frames;
}

std::vector<Bytes> Pieces(const Bytes& k_message) {
  Bytes bytes{static_cast<std::uint8_t>(1 + k_message.size() / kCanFrame)};
  bytes.insert(bytes.end(), k_message.begin(), k_message.end());
  std::vector<Bytes> pieces;
  for (std::size_t at = 0; at < bytes.size(); at += kCanFrame) {
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    pieces.emplace_back(
        begin, bytes.begin() + static_cast<std::ptrdiff_t>(std::min(at + kCanFrame, bytes.size())));
  }
  return pieces;
}

/// The component, set up for an ECU of one form.
class Component {
 public:
  Component(TransportForm form, std::int32_t receive, std::int32_t send) : form_(form) {
    reprog_->CANIDs(receive, send);
  }
  explicit Component(TransportForm form)
      : Component(form, form == TransportForm::kPlainCan ? 1850 : 0,
                  form == TransportForm::kPlainCan  ? 1586
                  : form == TransportForm::kGateway ? kGatewayAddress
                                                    : kKLineAddress) {}

  [[nodiscard]] TransportForm form() const { return form_; }
  [[nodiscard]] DiagOnCANReprog& reprog() const { return *reprog_; }
  [[nodiscard]] PortablePlatform& platform() const { return *platform_; }

  /// The only document of a short transfer.
  [[nodiscard]] std::shared_ptr<DOMDocument> DocumentOf(
      const std::function<void(DiagOnCANReprog&)>& start) const {
    std::shared_ptr<DOMDocument> document;
    reprog_->OnXMLReady([&](const std::shared_ptr<IXMLDOMNode>& node, bool& cancel) {
      if (node) {
        document = std::dynamic_pointer_cast<DOMDocument>(node);
        cancel = false;
      }
    });
    start(*reprog_);
    platform_->WaitForWorkers(*reprog_);
    return document;
  }

 private:
  TransportForm form_;
  std::shared_ptr<PortablePlatform> platform_ = CreatePortablePlatform();
  std::shared_ptr<DiagOnCANReprog> reprog_ = CreateDiagOnCANReprog(platform_);
};

/// Walks through a document and writes the script of an ECU that sends `answers`, one for each
/// request, and nothing after the last.
class ScriptWriter {
 public:
  ScriptWriter(Exercise& exercise, std::vector<Bytes> answers)
      : exercise_(exercise), answers_(std::move(answers)) {}

  void Write() {
    for (const Step& step : exercise_.built.steps) {
      if (step.kind == StepKind::kSend) {
        Send(step.frame);
      } else if (step.kind == StepKind::kReceive) {
        Receive(step);
      }
    }
  }

 private:
  void Send(const Bytes& frame) {
    const std::size_t turn = exercise_.script.size();
    if (pieces_left_ > 0) {
      --pieces_left_;
      exercise_.requests.back().last = turn;
    } else if (!IsControl(frame) && !IsConsecutive(frame)) {
      Begin(frame, turn);
    } else if (IsConsecutive(frame)) {
      exercise_.requests.back().last = turn;
    }
    exercise_.script.push_back({.frame = frame});
    exercise_.requests.back().end = exercise_.script.size();
  }

  void Begin(const Bytes& frame, std::size_t turn) {
    const std::size_t number = exercise_.requests.size();
    frames_.clear();
    if (number < answers_.size()) {
      const auto frames = FramesOfAnswer(exercise_.form, answers_[number]);
      frames_.assign(frames.begin(), frames.end());
    }
    pieces_left_ = exercise_.form == TransportForm::kGateway ? frame[0] - 1 : 0;
    exercise_.requests.push_back({.first = turn, .last = turn, .service = ServiceOf(frame)});
  }

  void Receive(const Step& step) {
    std::vector<ScriptedReply>& replies = exercise_.script.back().replies;
    if (exercise_.form == TransportForm::kPlainCan && step.expected.starts_with("30")) {
      Bytes frame = BytesOfHex(step.expected).value_or(Bytes{});
      frame.resize(3);
      replies.push_back({kControlTime, Padded(std::move(frame))});
    } else if (exercise_.form == TransportForm::kGateway && pieces_left_ > 0) {
      replies.push_back({kControlTime, {kAcknowledgement}});
    } else if (!frames_.empty()) {
      replies.push_back({kAnswerTime, std::move(frames_.front())});
      frames_.pop_front();
    }
  }

  [[nodiscard]] bool IsConsecutive(const Bytes& frame) const {
    return exercise_.form == TransportForm::kPlainCan && frame[0] >> 4U == 2;
  }
  [[nodiscard]] bool IsControl(const Bytes& frame) const {
    return (exercise_.form == TransportForm::kPlainCan && frame[0] >> 4U == 3) ||
           (exercise_.form == TransportForm::kGateway && frame == Bytes{kAcknowledgement});
  }
  [[nodiscard]] std::uint8_t ServiceOf(const Bytes& frame) const {
    if (exercise_.form == TransportForm::kPlainCan) {
      return frame[frame[0] >> 4U == 0 ? 1 : 2];
    }
    const std::size_t format = exercise_.form == TransportForm::kGateway ? 1 : 0;
    return frame[format + ((frame[format] & 0x3FU) == 0 ? 4 : 3)];
  }

  Exercise& exercise_;
  std::vector<Bytes> answers_;
  std::deque<Bytes> frames_;
  int pieces_left_ = 0;
};

Exercise ExerciseOf(TransportForm form, std::shared_ptr<DOMDocument> document,
                    std::vector<Bytes> answers) {
  Exercise exercise{.form = form, .built = ReadRequestDocument(*document)};
  exercise.document = std::move(document);
  exercise.exchange = {form, exercise.built.receive_identifier, exercise.built.send_identifier};
  ForgetElements(exercise.built);
  ScriptWriter(exercise, std::move(answers)).Write();
  exercise.TakeGoodFrames();
  return exercise;
}

Exercise TesterPresent(const Component& component) {
  return ExerciseOf(component.form(), component.reprog().TesterPresent(), {{0x7E}});
}

/// Bytes that are no fill bytes.
std::string Pattern(int size) {
  Bytes bytes(static_cast<std::size_t>(size));
  for (std::size_t n = 0; n < bytes.size(); ++n) {
    bytes[n] = static_cast<std::uint8_t>(n + 1);
  }
  return HexOf(bytes);
}

Bytes AnswerToRead(int number) {
  const int address = kFirstAddress + number * kRead;
  Bytes answer{0x75,
               kArea,
               static_cast<std::uint8_t>(address >> 16),
               static_cast<std::uint8_t>(address >> 8),
               static_cast<std::uint8_t>(address),
               kRead};
  for (int n = 0; n < kRead; ++n) {
    answer.push_back(static_cast<std::uint8_t>(0x40 + n));
  }
  answer.insert(answer.end(), {0x12, 0x34});
  return answer;
}

}  // namespace

std::vector<Bytes> FramesOfAnswer(TransportForm form, const Bytes& service_bytes) {
  if (form == TransportForm::kPlainCan) {
    return PlainFrames(service_bytes);
  }
  const bool is_gateway = form == TransportForm::kGateway;
  Bytes message =
      EncodeKMessage({kTester, is_gateway ? kGatewayAddress : kKLineAddress, service_bytes});
  return is_gateway ? Pieces(message) : std::vector<Bytes>{std::move(message)};
}

Bytes FrameOfAnswer(TransportForm form, const Bytes& service_bytes) {
  return FramesOfAnswer(form, service_bytes).front();
}

void Exercise::TakeGoodFrames() {
  good_frames.clear();
  for (const Turn& turn : script) {
    for (const ScriptedReply& reply : turn.replies) {
      good_frames.push_back(reply.frame);
    }
  }
}

void ForgetElements(RequestDocument& request) {
  for (Step& step : request.steps) {
    step.element.reset();
  }
}

Exercise TesterPresentExercise(TransportForm form) { return TesterPresent(Component(form)); }

Exercise TesterPresentExercise(TransportForm form, std::int32_t receive, std::int32_t send) {
  return TesterPresent(Component(form, receive, send));
}

Exercise DownloadExercise(TransportForm form, int blocks, int size, const BlockSettings& settings) {
  const Component component(form);
  const auto segment = component.platform().CreateByteString();
  segment->SetHex(Pattern(blocks * size));
  segment->SetStartAddress(kFirstAddress);
  const auto image = component.platform().CreateMemoryImage();
  image->AddSegment(*segment);
  component.reprog().FlowControl(settings.block_size, settings.separation_time);
  auto document = component.DocumentOf([&](DiagOnCANReprog& reprog) {
    reprog.ComputeDownload(kArea, image, 0xFF, 16, static_cast<std::uint8_t>(size));
  });
  return ExerciseOf(form, std::move(document),
                    std::vector<Bytes>(static_cast<std::size_t>(blocks), Bytes{0x74, 0x02}));
}

Exercise UploadExercise(TransportForm form, int reads) {
  const Component component(form);
  const auto map = component.platform().CreateMemoryMap();
  std::vector<Bytes> answers;
  for (int number = 0; number < reads; ++number) {
    map->AddRange(kFirstAddress + number * kRead, kRead);
    answers.push_back(AnswerToRead(number));
  }
  auto document =
      component.DocumentOf([&](DiagOnCANReprog& reprog) { reprog.ComputeUpload(map, kArea); });
  return ExerciseOf(form, std::move(document), std::move(answers));
}

Exercise StartDiagExercise(TransportForm form) {
  const Component component(form);
  return ExerciseOf(form, component.reprog().StartDiag(), {{0xC1, 0x6B, 0x8F}});
}

}  // namespace quillmark::host
