// SPDX-License-Identifier: MIT
#include "quillmark/host/adapter_list.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "quillmark/host/bus.h"
#include "tests/host/tool/temporary_folder.h"

namespace quillmark::host::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class AdapterListTest : public ::testing::Test {
 protected:
  AdapterListTest() {
    for (const char* const name : {"passthru", "dev/serial/by-id", "net"}) {
      fs::create_directories(folder_.Path(name));
    }
    places_.pass_thru = folder_.Path("passthru");
    places_.devices = folder_.Path("dev");
    places_.networks = folder_.Path("net");
  }

  void AddNetwork(const std::string& name, const std::string& type, const std::string& state) {
    fs::create_directories(folder_.Path("net/" + name));
    static_cast<void>(folder_.Write("net/" + name + "/type", type + '\n'));
    static_cast<void>(folder_.Write("net/" + name + "/operstate", state + '\n'));
  }

  std::string Warning(const std::string& content) {
    static_cast<void>(folder_.Write("passthru/a.json", content));
    const AdapterList list = ListAdapters(places_);
    EXPECT_THAT(list.adapters, IsEmpty());
    EXPECT_THAT(list.warnings, SizeIs(1));
    return list.warnings.empty() ? "" : list.warnings.front();
  }

  TemporaryFolder folder_;
  AdapterPlaces places_;
};

TEST_F(AdapterListTest, IsEmptyWhereNothingIs) {
  places_.pass_thru = folder_.Path("none");
  places_.networks = folder_.Path("none");
  const AdapterList list = ListAdapters(places_);
  EXPECT_THAT(list.adapters, IsEmpty());
  EXPECT_THAT(list.warnings, IsEmpty());
}

TEST_F(AdapterListTest, HasPassThruLibrariesByTheirNames) {
  static_cast<void>(folder_.Write(
      "passthru/b.json", R"({"NAME":"Bench","VENDOR":"Somebody","FUNCTION_LIB":"/opt/b.so"})"));
  static_cast<void>(folder_.Write(
      "passthru/a.json", R"({"NAME":"a/b?","VENDOR":"Other","FUNCTION_LIB":"/opt/a.so"})"));
  static_cast<void>(folder_.Write("passthru/notes.txt", "no description"));
  const AdapterList list = ListAdapters(places_);
  EXPECT_THAT(list.warnings, IsEmpty());
  ASSERT_THAT(list.adapters, SizeIs(2));
  EXPECT_THAT(list.adapters[0].uris, ElementsAre("j2534:/opt/a.so")) << "a URI has no such name";
  EXPECT_THAT(list.adapters[1].uris, ElementsAre("j2534:Bench"));
  EXPECT_EQ(list.adapters[1].description, "Bench, Somebody, /opt/b.so");
  EXPECT_EQ(FindPassThruLibrary("Bench", places_), "/opt/b.so");
  EXPECT_EQ(FindPassThruLibrary("/some/path.so", places_), "/some/path.so");
}

TEST_F(AdapterListTest, NamesTheLibrariesThatThereAreForOneThatIsNot) {
  try {
    static_cast<void>(FindPassThruLibrary("Bench", places_));
    ADD_FAILURE() << "nothing raised";
  } catch (const BusError& error) {
    EXPECT_THAT(error.what(), HasSubstr("there is no pass-thru adapter \"Bench\" in "));
    EXPECT_THAT(error.what(), HasSubstr("there is none at all"));
  }
}

TEST_F(AdapterListTest, WarnsOfADamagedDescriptionAndGoesOn) {
  const std::string file = folder_.Path("passthru/a.json");
  EXPECT_EQ(Warning("{"), file + ": expected a JSON object with FUNCTION_LIB, NAME and VENDOR");
  EXPECT_EQ(Warning("[]"), file + ": expected a JSON object with FUNCTION_LIB, NAME and VENDOR");
  EXPECT_EQ(Warning("{}"), file + ": expected a text NAME");
  EXPECT_EQ(Warning(R"({"NAME":1})"), file + ": expected a text NAME");
  EXPECT_THAT(Warning(R"({"NAME":"\u001b[2J","VENDOR":"v","FUNCTION_LIB":"/l"})"),
              HasSubstr("NAME must have 1 to 200 bytes, without control characters"));
  EXPECT_THAT(Warning(R"({"NAME":"n","VENDOR":"v","FUNCTION_LIB":"l.so"})"),
              HasSubstr("FUNCTION_LIB must be a path, found \"l.so\""));
  EXPECT_THAT(
      Warning(R"({"NAME":"n","VENDOR":"v","FUNCTION_LIB":")" + std::string(5000, '/') + "\"}"),
      HasSubstr("FUNCTION_LIB must have 1 to 4096 bytes"));
  EXPECT_THAT(Warning(std::string(100'000, '[')), HasSubstr(file + ": "));
  EXPECT_THAT(Warning(std::string(60'000, '[')), HasSubstr("expected a JSON object"));
  EXPECT_THAT(Warning("{\"NAME\":\"\xFF\xFE\"}"), HasSubstr("expected a JSON object"));
}

TEST_F(AdapterListTest, DoesNotWaitForAPipe) {
  ASSERT_EQ(::mkfifo(folder_.Path("passthru/p.json").c_str(), 0600), 0);
  const AdapterList list = ListAdapters(places_);
  ASSERT_THAT(list.warnings, SizeIs(1));
  EXPECT_THAT(list.warnings.front(), HasSubstr("p.json: expected a regular file"));
}

TEST_F(AdapterListTest, HasSerialPortsOnceByTheNamesThatStay) {
  static_cast<void>(folder_.Write("dev/ttyUSB0", ""));
  static_cast<void>(folder_.Write("dev/ttyACM1", ""));
  static_cast<void>(folder_.Write("dev/tty7", ""));
  const std::string link = folder_.Path("dev/serial/by-id/usb-Some_Cable-if00");
  fs::create_symlink("../../ttyUSB0", link);
  fs::create_symlink("../../gone", folder_.Path("dev/serial/by-id/usb-Gone"));
  const AdapterList list = ListAdapters(places_);
  ASSERT_THAT(list.adapters, SizeIs(2));
  EXPECT_EQ(list.adapters[0].description, "serial port ttyUSB0, usb-Some_Cable-if00");
  EXPECT_THAT(list.adapters[0].uris, ElementsAre("slcan:" + link, "kline:" + link));
  EXPECT_EQ(list.adapters[1].description, "serial port ttyACM1");
}

TEST_F(AdapterListTest, HasCanInterfacesAmongTheNetworks) {
  AddNetwork("can0", "280", "up");
  AddNetwork("eth0", "1", "up");
  AddNetwork("vcan1", "280", "unknown");
  const AdapterList list = ListAdapters(places_);
  ASSERT_THAT(list.adapters, SizeIs(2));
  EXPECT_EQ(list.adapters[0].description, "CAN interface can0, its state is up");
  EXPECT_THAT(list.adapters[0].uris, ElementsAre("socketcan:can0"));
  EXPECT_THAT(list.adapters[1].uris, ElementsAre("socketcan:vcan1"));
}

}  // namespace
}  // namespace quillmark::host::testing
