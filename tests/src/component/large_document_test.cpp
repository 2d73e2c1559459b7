// SPDX-License-Identifier: MIT
// A host may pass a document of any size: a check gives the same result as for a small one. The
// documents have 256 KB, or as many megabytes as QUILLMARK_LARGE_MEGABYTES says.
#include <cstdlib>
#include <functional>

#include "support/component_test.h"
#include "support/framed_reply.h"

namespace quillmark::testing {
namespace {

using Document = std::shared_ptr<DOMDocument>;

constexpr std::size_t kSmall = std::size_t{1} << 10U;

std::size_t Large() {
  const char* const megabytes = std::getenv("QUILLMARK_LARGE_MEGABYTES");
  return megabytes == nullptr ? std::size_t{256} << 10U : std::stoul(megabytes) << 20U;
}

/// What arrives before a reply in each form.
struct Before {
  std::string plain_can{};
  std::string gateway{};
  std::string k_line{};

  [[nodiscard]] const std::string& In(const Form& form) const {
    if (form.name == kKLine.name) {
      return k_line;
    }
    return form.name == kGateway.name ? gateway : plain_can;
  }
};

const Before kAcknowledgement = {.gateway = "81"};
const Before kStart = {.gateway = "0183F16EC1EF8F21"};
const Before kStartInEveryForm = {"0250C0", "0183F16EC1EF8F21", "83F111C1EF8FC4"};

/// A check, the positive reply to its request, and the result that the check then has.
struct Granted {
  const char* name;
  std::string reply;
  std::string told;
  std::function<std::string(const Document&)> check;
  Before before{};
};

/// Of a check that only raises errors.
template <typename Check>
auto Nothing(Check check) {
  return [check](const Document& root) -> std::string {
    check(root);
    return "nothing";
  };
}

/// Of a check of something that takes its time.
template <typename Check>
auto WhetherFinished(Check check) {
  return
      [check](const Document& root) -> std::string { return check(root) ? "finished" : "running"; };
}

class LargeDocument : public EveryForm {
 protected:
  [[nodiscard]] std::vector<Granted> Checks() {
    return {
        {"getseed", "678111223344", "11223344",
         [&](const Document& root) { return diag_->getseed(root)->Hex(); }, kStart},
        {"checkunlock", "6782", "nothing",
         Nothing([&](const Document& root) { diag_->checkunlock(root); }), kAcknowledgement},
        {"checkstarterase", "718101", "nothing",
         Nothing([&](const Document& root) { diag_->checkstarterase(root); }), kAcknowledgement},
        {"checkcheckerase", "718102", "finished",
         WhetherFinished([&](const Document& root) { return diag_->checkcheckerase(root); })},
        {"checkdownload", "7481", "nothing",
         Nothing([&](const Document& root) { diag_->checkdownload(root); }), kAcknowledgement},
        {"checkstartroutine", "710501", "nothing",
         Nothing([&](const Document& root) { diag_->checkstartroutine(root, 5); })},
        {"checkroutine", "710501", "running",
         WhetherFinished([&](const Document& root) { return diag_->checkroutine(root, 5); })},
        {"checkwritelogzone", "7B", "nothing",
         Nothing([&](const Document& root) { diag_->checkwritelogzone(root); }), kAcknowledgement},
        {"checkupload", "7500FFFFFF0142", "42",
         [&](const Document& root) { return ByteOfEachReply(root); }, kAcknowledgement},
        {"gethisto", "6180" + record_, record_,
         [&](const Document& root) { return RecordOf(root); }, kStartInEveryForm},
    };
  }

  /// What every reply of an upload holds; the image has a segment of each.
  [[nodiscard]] std::string ByteOfEachReply(const Document& root) const {
    // Behind a gateway an acknowledgement and two pieces.
    const std::size_t frames = GetParam().name == kGateway.name ? 3 : 1;
    const auto image = platform_->CreateMemoryImage();
    diag_->checkupload(root, image);
    const auto segments = image->Segments();
    EXPECT_EQ(segments.size() * frames, root->selectNodes("//r")->length());
    const std::string byte = segments.at(0)->Hex();
    for (const auto& segment : segments) {
      EXPECT_EQ(segment->Hex(), byte);
    }
    return byte;
  }

  /// The identification, which is read first and kept although no history follows.
  [[nodiscard]] std::string RecordOf(const Document& root) const {
    ByteStringArray history;
    ByteStringArray reprogrammings;
    std::shared_ptr<ByteString> record;
    EXPECT_NE(RaisedBy([&] { diag_->gethisto(root, history, reprogrammings, record); }),
              std::nullopt);
    return record ? record->Hex() : "no record";
  }

  static std::vector<std::string> FramesOf(const Granted& granted) {
    std::vector<std::string> frames = FramedReply(GetParam(), granted.reply);
    if (const std::string& before = granted.before.In(GetParam()); !before.empty()) {
      frames.insert(frames.begin(), before);
    }
    return frames;
  }

  const std::string record_ = std::string(48, '5');
};

TEST_P(LargeDocument, OfOneLongTextIsReadLikeAShortOne) {
  for (const Granted& granted : Checks()) {
    for (const std::size_t zeros : {kSmall, Large()}) {
      std::vector<std::string> frames = FramesOf(granted);
      frames.back().append(zeros, '0');
      EXPECT_EQ(granted.check(Replies(GetParam(), frames)), granted.told)
          << granted.name << ", " << zeros << " zeros behind its reply";
    }
  }
}

TEST_P(LargeDocument, OfManyRepliesIsReadLikeOneOfAFew) {
  constexpr std::size_t kElement = 40;
  for (const Granted& granted : Checks()) {
    for (const std::size_t size : {kSmall, Large()}) {
      const std::vector<std::string> once = FramesOf(granted);
      std::vector<std::string> frames;
      while (frames.size() * kElement < size) {
        frames.insert(frames.end(), once.begin(), once.end());
      }
      EXPECT_EQ(granted.check(Replies(GetParam(), frames)), granted.told)
          << granted.name << " of " << frames.size() << " frames";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Forms, LargeDocument, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
