// SPDX-License-Identifier: MIT
#include "host/station/job.h"

#include <gmock/gmock.h>

#include <string>

namespace quillmark::host {
namespace {

using ::testing::HasSubstr;

struct BadJob {
  const char* name;
  std::string text;
  const char* message;

  friend void PrintTo(const BadJob& each, std::ostream* out) { *out << each.name; }
};

std::string WithBay(const std::string& members) {
  return R"({"bays": [{"bay": "a", "images": [{"file": "a.hex"}])" + members + "}]}";
}

class RefusedText : public ::testing::TestWithParam<BadJob> {};

TEST_P(RefusedText, NamesThePlaceAndWhatWasExpectedAndFound) {
  try {
    for (const JobBay& bay : ParseJob(GetParam().text)) {
      static_cast<void>(SettingsOf(bay, ""));
    }
    FAIL() << "not refused";
  } catch (const ToolError& error) {
    EXPECT_EQ(error.code(), ExitCode::kData);
    EXPECT_THAT(error.what(), HasSubstr(GetParam().message));
    EXPECT_EQ(std::string(error.what()).front(), '$');
    EXPECT_THAT(error.next(), HasSubstr("nothing was sent"));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Jobs, RefusedText,
    ::testing::Values(
        BadJob{"Empty", "", "$: expected JSON, found a parse error at line 1, column 1"},
        BadJob{"Cut", R"({"bays": [)",
               "$: expected JSON, found a parse error at line 1, column 11"},
        BadJob{"NoObject", "[]", "$: expected an object, found an array"},
        BadJob{"UnknownMember", R"({"bay": []})",
               "$: expected one of defaults, bays, $schema, found \"bay\""},
        BadJob{"NoBays", "{}", "$: expected the member \"bays\", an array, found none"},
        BadJob{"ZeroBays", R"({"bays": []})",
               "$.bays: expected an array of 1 to 256 elements, found one of 0"},
        BadJob{"BayIsNoObject", R"({"bays": [1]})", "$.bays[0]: expected an object, found 1"},
        BadJob{"NoName", R"({"bays": [{}]})",
               "$.bays[0]: expected the member \"bay\", a name, found none"},
        BadJob{"NameIsAPath", R"({"bays": [{"bay": "../a"}]})",
               "$.bays[0].bay: expected a name of 1 to 64"},
        BadJob{"NameIsHidden", R"({"bays": [{"bay": ".a"}]})",
               "$.bays[0].bay: expected a name of 1 to 64"},
        BadJob{"NoImages", R"({"bays": [{"bay": "a"}]})",
               "$.bays[0]: expected the member \"images\" here or in $.defaults"},
        BadJob{
            "SameName",
            R"({"defaults": {"images": [{"file": "a"}]}, "bays": [{"bay": "a"}, {"bay": "b"}, {"bay": "A"}]})",
            "$.bays[2].bay: expected a name of its own, found that of $.bays[0]: \"A\""},
        BadJob{"MemberTwice", WithBay(R"(, "p2": 1, "p2": 2)"),
               "$.bays[0].p2: expected this member once, found it twice"},
        BadJob{"UnknownOption", WithBay(R"(, "p3": 1)"),
               "$.bays[0]: expected one of bay, images, backup, profile"},
        BadJob{"Yes", WithBay(R"(, "yes": true)"), "found \"yes\""},
        BadJob{"BusOfAll", R"({"defaults": {"bus": "sim:"}, "bays": []})",
               "$.defaults: expected \"bus\" in each bay by itself"},
        BadJob{"TextIsANumber", WithBay(R"(, "bus": 1)"),
               "$.bays[0].bus: expected a text, found 1"},
        BadJob{"EmptyText", WithBay(R"(, "backup": "")"),
               "$.bays[0].backup: expected a text of 1 to 4096 bytes, found one of 0"},
        BadJob{"LongText", WithBay(R"(, "bus": ")" + std::string(4097, 'a') + '"'),
               "expected a text of 1 to 4096 bytes, found one of 4097"},
        BadJob{
            "ControlCharacter", WithBay(R"(, "key-command": "a\nb")"),
            R"($.bays[0].key-command: expected a text without control characters, found "a\nb")"},
        BadJob{"NumberIsABoolean", WithBay(R"(, "p2": true)"),
               "$.bays[0].p2: expected a number, or one as a text such as \"0x10\", found true"},
        BadJob{"NumberIsABroken", WithBay(R"(, "p2": 1.5)"),
               "$.bays[0].p2: expected a number from 1 to 600000, found \"1.5\""},
        BadJob{"NumberIsHuge", WithBay(R"(, "p2": 1e999)"), "$: expected JSON, found a"},
        BadJob{"NumberIsNegative", WithBay(R"(, "p2": -1)"),
               "$.bays[0].p2: expected a number from"},
        BadJob{"OneIdentifier", WithBay(R"(, "ids": [1])"),
               "$.bays[0].ids: expected an array of two numbers, found an array"},
        BadJob{"NegativeIdentifier", WithBay(R"(, "ids": [-1, 2])"), "$.bays[0]"},
        BadJob{"SameIdentifiers", WithBay(R"(, "ids": [1, 1])"),
               "$.bays[0].ids: expected two identifiers, found 0x001 twice"},
        BadJob{"FlagIsAText", WithBay(R"(, "verify": "yes")"),
               "$.bays[0].verify: expected true or false, found \"yes\""},
        BadJob{"FaultIsNoList", WithBay(R"(, "fault": "silent")"),
               "$.bays[0].fault: expected an array of 1 to 64 elements, found \"silent\""},
        BadJob{"FormOfAnotherBus", WithBay(R"(, "form": "kline", "bus": "slcan:/dev/a")"),
               "$.bays[0].form: this bus carries the form can alone"},
        BadJob{"WrongBus", WithBay(R"(, "bus": "usb:1")"), "$.bays[0].bus: "},
        BadJob{"WrongDefault",
               R"({"defaults": {"p2": 0, "images": [{"file": "a"}]}, "bays": [{"bay": "a"}]})",
               "$.defaults.p2: expected a number from 1"},
        BadJob{"ImageIsAText", R"({"bays": [{"bay": "a", "images": ["a.hex"]}]})",
               "$.bays[0].images[0]: expected an object, found \"a.hex\""},
        BadJob{"ImageWithoutFile", R"({"bays": [{"bay": "a", "images": [{"base": 1}]}]})",
               "$.bays[0].images[0]: expected the member \"file\", a text, found none"},
        BadJob{"ImageWithMore", R"({"bays": [{"bay": "a", "images": [{"file": "a", "bse": 1}]}]})",
               "$.bays[0].images[0]: expected one of file, base, found \"bse\""},
        BadJob{"WrongBase",
               R"({"bays": [{"bay": "a", "images": [{"file": "a", "base": "1000h"}]}]})",
               "$.bays[0].images[0].base: expected a number from 0 to 16777215, found \"1000h\""},
        BadJob{"TooDeep", R"({"bays": )" + std::string(1000, '[') + std::string(1000, ']') + '}',
               "$: expected at most 16 objects and arrays in one another"}),
    [](const auto& test) { return test.param.name; });

TEST(Job, GivesEachBayWhatItSaysAndTheDefaultsWhereItSaysNothing) {
  const std::vector<JobBay> bays = ParseJob(R"({
    "defaults": {"images": [{"file": "a.hex"}], "p2": 200, "verify": true, "ids": ["0x7E8", 2016]},
    "bays": [{"bay": "left", "p2": "0x10", "flow-control": "auto", "log-record": "none"},
             {"bay": "right", "bus": "slcan:/dev/a", "verify": false, "min-voltage": 11.5,
              "images": [{"file": "b.bin", "base": "0x1000"}, {"file": "/c.hex"}]}]})");
  ASSERT_EQ(bays.size(), 2U);
  const FlashSettings left = SettingsOf(bays[0], "folder");
  EXPECT_EQ(left.session.timing.p2, std::chrono::milliseconds(16));
  EXPECT_TRUE(left.flash.verify);
  EXPECT_EQ(left.flash.log_record, std::nullopt);
  EXPECT_EQ(left.link.ReceiveId(), 0x7E8);
  EXPECT_EQ(left.link.SendId(), 2016);
  EXPECT_FALSE(left.link.flow_control_is_fixed);
  EXPECT_EQ(left.transfer.files, std::vector<std::string>{"folder/a.hex"});
  const FlashSettings right = SettingsOf(bays[1], "folder");
  EXPECT_EQ(right.session.timing.p2, std::chrono::milliseconds(200));
  EXPECT_FALSE(right.flash.verify);
  EXPECT_EQ(right.flash.least_millivolts, 11500U);
  EXPECT_EQ(right.session.bus.device, "/dev/a");
  EXPECT_EQ(right.transfer.files, (std::vector<std::string>{"folder/b.bin", "/c.hex"}));
  EXPECT_EQ(bays[1].images[0].base, 0x1000U);
}

}  // namespace
}  // namespace quillmark::host
