// SPDX-License-Identifier: MIT
// `checkdownload` and `checkwritelogzone` look for the host's error mark, not at the reply bytes.
#include "support/component_test.h"

namespace quillmark::testing {
namespace {

using ErrorMark = EveryForm;

// D18.
TEST_P(ErrorMark, DocumentWithoutErrorMarkPasses) {
  EXPECT_NO_THROW(diag_->checkdownload(Replies(GetParam(), {"037F3433"})));
  EXPECT_NO_THROW(diag_->checkwritelogzone(Replies(GetParam(), {"-"})));
}

TEST_P(ErrorMark, ErrorMarkBesideDataShowsTheData) {
  const auto document =
      Parse("<can><x><r><c>027402</c><d>037F3433</d><e>refused</e></r></x></can>");
  EXPECT_ERROR(diag_->checkdownload(document), 4005, "Download error 037F3433");
  EXPECT_ERROR(diag_->checkwritelogzone(document), 4008, "Write log zone error 037F3433");
}

TEST_P(ErrorMark, ErrorMarkWithoutDataShowsItsElement) {
  const auto document = Parse("<k><r><c>82F1117402FA</c><e>no answer</e></r></k>");
  EXPECT_ERROR(diag_->checkdownload(document), 4005,
               "Download error <r><c>82F1117402FA</c><e>no answer</e></r>");
  EXPECT_ERROR(diag_->checkwritelogzone(document), 4008,
               "Write log zone error <r><c>82F1117402FA</c><e>no answer</e></r>");
}

TEST_P(ErrorMark, FirstOfSeveralErrorMarksCounts) {
  const auto document = Parse("<k><r><e/><d>AA</d></r><r><e/><d>BB</d></r></k>");
  EXPECT_ERROR(diag_->checkdownload(document), 4005, "Download error AA");
}

TEST_P(ErrorMark, ErrorMarkMayBeAnywhere) {
  EXPECT_ERROR(diag_->checkdownload(Parse("<e/>")), 4005, "Download error <e/>");
  EXPECT_ERROR(diag_->checkdownload(Parse("<k a=\"1\"><e/></k>")), 4005,
               "Download error <k a=\"1\"><e/></k>");
}

TEST_P(ErrorMark, MissingDocumentHasNoObject) {
  EXPECT_ERROR(diag_->checkdownload(nullptr), 91, kNotSet);
  EXPECT_ERROR(diag_->checkwritelogzone(nullptr), 91, kNotSet);
}

INSTANTIATE_TEST_SUITE_P(Forms, ErrorMark, ::testing::ValuesIn(kAllForms), FormName());

}  // namespace
}  // namespace quillmark::testing
