// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "quillmark/quillmark.h"
#include "support/expect_error.h"
#include "support/forms.h"
#include "support/framed_reply.h"
#include "tested_platform.h"

namespace quillmark::testing {

/// An object on the tested platform and what a host needs around it.
class ComponentTest : public ::testing::Test {
 protected:
  ~ComponentTest() override { platform_->WaitForWorkers(); }

  void Configure(const Form& form) { diag_->CANIDs(form.RCANId, form.XCANId); }

  [[nodiscard]] std::shared_ptr<ByteString> String(std::string_view hex) const {
    auto string = platform_->CreateByteString();
    string->SetHex(hex);
    return string;
  }

  [[nodiscard]] std::shared_ptr<DOMDocument> Parse(std::string_view text) const {
    auto document = platform_->CreateDOMDocument();
    document->loadXML(text);
    return document;
  }

  [[nodiscard]] std::shared_ptr<DOMDocument> Replies(const Form& form,
                                                     const std::vector<std::string>& frames) const {
    return Parse(RunDocument(form, frames));
  }

  const std::shared_ptr<TestedPlatform> platform_ = TestPlatform();
  std::shared_ptr<DiagOnCANReprog> diag_ = CreateDiagOnCANReprog(platform_);
};

/// The same over the three transport forms, configured.
class EveryForm : public ComponentTest, public ::testing::WithParamInterface<Form> {
 protected:
  EveryForm() { Configure(GetParam()); }
};

}  // namespace quillmark::testing
