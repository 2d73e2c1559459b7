// SPDX-License-Identifier: MIT
#include "host/ecu/programming_services.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "tests/host/ecu/frame_bench.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;

EcuOptions TwoAreas() {
  EcuOptions options;
  options.areas = {{.identifier = 0x00, .start = 0x1000, .size = 0x1000},
                   {.identifier = 0x01, .start = 0x8000, .size = 0x100}};
  return options;
}

class ProgrammingServicesTest : public ::testing::Test {
 protected:
  explicit ProgrammingServicesTest(const EcuOptions& options = TwoAreas())
      : records_(options), services_(options, records_) {}

  std::string Routine(std::string_view request) {
    return ReplyOf([&] { return services_.OnRoutine(Hex(request), now_); });
  }
  std::string Download(std::string_view request) {
    return ReplyOf([&] { return services_.OnDownload(Hex(request), now_); });
  }
  std::string Upload(std::string_view request) {
    return ReplyOf([&] { return services_.OnUpload(Hex(request), now_); });
  }
  void EraseToTheEnd() {
    Routine("318100F05A");
    now_ += 250ms;
  }

  // Area 0, address 001000, three bytes; 34 + 10 + 03 + 01 + 02 + 03 = 4D.
  static constexpr const char* kBlock = "340000100003010203004D";

  Records records_;
  ProgrammingServices services_;
  Duration now_{};
};

TEST_F(ProgrammingServicesTest, StayBusyWithTheEraseForItsTime) {
  EXPECT_EQ(Routine("318100F05A"), "718101");
  EXPECT_EQ(Routine("318101"), "718101");
  now_ += 249ms;
  EXPECT_EQ(Routine("318101"), "718101");
  now_ += 1ms;
  EXPECT_EQ(Routine("318101"), "718102");
  EXPECT_EQ(Routine("318101"), "718102");
  EXPECT_TRUE(services_.flash().IsErased(0x1000, 0x1000));
  EXPECT_FALSE(services_.flash().IsErased(0x8000, 1)) << "the other area";
}

TEST_F(ProgrammingServicesTest, RefuseWhatIsNoEraseRequest) {
  EXPECT_EQ(Routine("318102F05A"), "refused 31") << "no such area";
  EXPECT_EQ(Routine("318100F15A"), "refused 31");
  EXPECT_EQ(Routine("318100F05B"), "refused 31");
  EXPECT_EQ(Routine("318100F0"), "refused 13");
  EXPECT_EQ(Routine("31"), "refused 13");
  EXPECT_EQ(Routine("318100"), "refused 12");
  EXPECT_EQ(Routine("318101"), "refused 22") << "nothing was started";
}

TEST_F(ProgrammingServicesTest, RefuseEverythingElseWhileErasing) {
  Routine("318100F05A");
  EXPECT_EQ(Routine("318101F05A"), "refused 21");
  EXPECT_EQ(Routine("310200"), "refused 21");
  EXPECT_EQ(Download(kBlock), "refused 21");
  EXPECT_EQ(Upload("358000100003"), "refused 21");
  now_ += 250ms;
  EXPECT_EQ(Download(kBlock), "7402") << "though nobody has asked whether the erase has ended";
}

TEST_F(ProgrammingServicesTest, EndWhatRuns) {
  Routine("318100F05A");
  services_.StopRoutines();
  EXPECT_EQ(Routine("318101"), "refused 22");
  EXPECT_EQ(Routine("318100F05A"), "718101");
}

TEST_F(ProgrammingServicesTest, WriteABlockIntoErasedFlash) {
  EraseToTheEnd();
  EXPECT_EQ(Download(kBlock), "7402");
  EXPECT_EQ(HexOf(services_.flash().Read(0x1000, 4)), "010203FF");
  EXPECT_EQ(services_.blocks(), 1U);
}

TEST_F(ProgrammingServicesTest, DoNotWriteIntoFlashThatIsNotErased) {
  EXPECT_EQ(Download(kBlock), "refused 72");
  EraseToTheEnd();
  Download(kBlock);
  EXPECT_EQ(Download(kBlock), "refused 72") << "written already";
  EXPECT_EQ(services_.blocks(), 1U);
}

TEST_F(ProgrammingServicesTest, DoNotWriteADamagedBlock) {
  EraseToTheEnd();
  EXPECT_EQ(Download("340000100003010203004E"), "refused 77");
  EXPECT_EQ(Download("340000100003010203014D"), "refused 77");
  EXPECT_EQ(Download("340000100004010203004E"), "refused 13") << "says four bytes";
  EXPECT_EQ(Download("34000010000044"), "refused 13") << "too short";
  EXPECT_EQ(Download("3400001000000044"), "refused 13") << "no data";
  EXPECT_TRUE(services_.flash().IsErased(0x1000, 0x1000));
}

TEST_F(ProgrammingServicesTest, ChecksumsGoBeyondOneByte) {
  EraseToTheEnd();
  EXPECT_EQ(Download("340000100003FFFFFF0344"), "7402");
}

TEST_F(ProgrammingServicesTest, DoNotWriteOutsideTheNamedArea) {
  EraseToTheEnd();
  EXPECT_EQ(Download("340000200001000055"), "refused 31");
  EXPECT_EQ(Download("340100100001000046"), "refused 31") << "the address is of area 0";
  EXPECT_EQ(Download("3400001FFF0200000154"), "refused 31") << "leaves the area";
}

TEST_F(ProgrammingServicesTest, FindTheFlashAsItWasDownloaded) {
  EraseToTheEnd();
  Download(kBlock);
  EXPECT_EQ(Routine("310200"), "710201");
  now_ += 149ms;
  EXPECT_EQ(Routine("310201"), "710201");
  now_ += 1ms;
  EXPECT_EQ(Routine("310201"), "710202");
}

TEST_F(ProgrammingServicesTest, RefuseWhatIsNoCheckRequest) {
  EXPECT_EQ(Routine("310200"), "refused 22") << "nothing was downloaded";
  EXPECT_EQ(Routine("310201"), "refused 22") << "nothing was started";
  EXPECT_EQ(Routine("310202"), "refused 12");
  EXPECT_EQ(Routine("310300"), "refused 31");
  EXPECT_EQ(Routine("3102"), "refused 13");
}

TEST_F(ProgrammingServicesTest, ForgetADownloadOnceItsAreaIsErased) {
  EraseToTheEnd();
  Download(kBlock);
  EraseToTheEnd();
  EXPECT_EQ(Routine("310200"), "refused 22");
}

TEST_F(ProgrammingServicesTest, ReadTheFlashWithAreaAndChecksum) {
  EraseToTheEnd();
  Download(kBlock);
  // 75 + 10 + 04 + 01 + 02 + 03 + FF = 18E.
  EXPECT_EQ(Upload("358000100004"), "750000100004010203FF018E");
  EXPECT_EQ(Upload("358000800001"), "7501008000015A0151");
}

TEST_F(ProgrammingServicesTest, RefuseWhatIsNoUploadRequest) {
  EXPECT_EQ(Upload("3580001000"), "refused 13");
  EXPECT_EQ(Upload("35800010000400"), "refused 13");
  EXPECT_EQ(Upload("358100100004"), "refused 12");
  EXPECT_EQ(Upload("358000100000"), "refused 31") << "no bytes";
  EXPECT_EQ(Upload("358000300001"), "refused 31") << "no memory";
}

TEST_F(ProgrammingServicesTest, WriteTheLogZone) {
  Bytes request = Hex("348300000030");
  request.insert(request.end(), 24, 'h');
  request.insert(request.end(), 24, 'r');
  // 34 + 83 + 30 + 24 * 68 + 24 * 72 = 1557.
  request.insert(request.end(), {0x15, 0x57});
  EXPECT_EQ(Download(HexOf(request)), "7402");
  EXPECT_EQ(records_.history().front().history, Bytes(24, 'h'));
  EXPECT_EQ(records_.history().front().reprogramming, Bytes(24, 'r'));
}

TEST_F(ProgrammingServicesTest, RefuseALogRecordOfAnotherSizeOrPlace) {
  EXPECT_EQ(Download("3483000000010000B8"), "refused 31");
  Bytes request = Hex("348300000130");
  request.resize(54);
  request.insert(request.end(), {0x00, 0xE8});
  EXPECT_EQ(Download(HexOf(request)), "refused 31");
}

EcuOptions WithABadCell() {
  EcuOptions options = TwoAreas();
  options.misbehaviour.bad_cells = {0x1001};
  return options;
}

class BadCellTest : public ProgrammingServicesTest {
 protected:
  BadCellTest() : ProgrammingServicesTest(WithABadCell()) {}
};

TEST_F(BadCellTest, IsFoundByTheCheckRoutineAlone) {
  EraseToTheEnd();
  EXPECT_EQ(Download(kBlock), "7402");
  EXPECT_EQ(Routine("310200"), "710201");
  now_ += 150ms;
  EXPECT_EQ(Routine("310201"), "710203");
}

EcuOptions OfAnEcuThatWritesOnce() {
  EcuOptions options = TwoAreas();
  options.write_once = true;
  return options;
}

class WriteOnceTest : public ProgrammingServicesTest {
 protected:
  WriteOnceTest() : ProgrammingServicesTest(OfAnEcuThatWritesOnce()) {}
};

TEST_F(WriteOnceTest, TakesNoBlockTwiceBetweenTwoErases) {
  // Three bytes that are erased already: 34 + 10 + 03 + 3 * FF = 344.
  constexpr const char* kErased = "340000100003FFFFFF0344";
  EraseToTheEnd();
  EXPECT_EQ(Download(kErased), "7402");
  EXPECT_EQ(Download(kErased), "refused 72");
  EXPECT_EQ(Download("340000100201000047"), "refused 72") << "the last of the three";
  EXPECT_EQ(Download("340000100301000048"), "7402");
  EraseToTheEnd();
  EXPECT_EQ(Download(kErased), "7402");
}

TEST_F(ProgrammingServicesTest, TakesAnErasedValueAgainAndAgain) {
  EraseToTheEnd();
  EXPECT_EQ(Download("340000100003FFFFFF0344"), "7402");
  EXPECT_EQ(Download("340000100003FFFFFF0344"), "7402");
}

EcuOptions WithABadChecksum() {
  EcuOptions options = TwoAreas();
  options.misbehaviour.bad_checksum_at_block = 2;
  return options;
}

class BadChecksumTest : public ProgrammingServicesTest {
 protected:
  BadChecksumTest() : ProgrammingServicesTest(WithABadChecksum()) {}
};

TEST_F(BadChecksumTest, IsReportedForTheChosenBlock) {
  EraseToTheEnd();
  EXPECT_EQ(Download("340000100001010046"), "7402");
  EXPECT_EQ(Download("340000100101020048"), "refused 77");
  EXPECT_EQ(Download("340000100101020048"), "7402");
}

TEST(ProgrammingServices, RefuseOptionsThatMixUpTheirIdentifiers) {
  EcuOptions options;
  Records records(options);
  options.check_routine = 0x81;
  EXPECT_THROW(ProgrammingServices(options, records), std::invalid_argument);
  options.check_routine = 0x02;
  options.areas[0].identifier = 0x83;
  EXPECT_THROW(ProgrammingServices(options, records), std::invalid_argument);
}

}  // namespace
}  // namespace quillmark::host
