// SPDX-License-Identifier: MIT
#include "quillmark/host/image_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "quillmark/host/files.h"
#include "tests/host/image/expect_damaged.h"

namespace quillmark::host {
namespace {

constexpr std::string_view kIntelHexText = ":01000000AB54\n:00000001FF\n";
constexpr std::string_view kSRecordText = "S1041234AB0A\nS9030000FC\n";

template <typename Exception, typename Call>
std::string MessageOf(Call&& call) {
  try {
    call();
  } catch (const Exception& error) {
    return error.what();
  }
  return "(nothing raised)";
}

TEST(ReadImage, TakesTheFormatFromTheContentWhateverTheName) {
  EXPECT_EQ(ReadImage(kIntelHexText, "a.s19", {}).format, ImageFormat::kIntelHex);
  EXPECT_EQ(ReadImage(kSRecordText, "a.hex", {}).format, ImageFormat::kSRecord);
  EXPECT_EQ(ReadImage("\r\n \n:00000001FF\n", "a", {}).format, ImageFormat::kIntelHex);
}

TEST(ReadImage, TakesTheFormatFromTheNameWhereTheFirstLineTellsNothing) {
  EXPECT_DAMAGED(ReadImage("#01000000AB54\n:00000001FF\n", "a.hex", {}),
                 "a.hex:1: expected ':' at the start of a record, found '#'");
  EXPECT_DAMAGED(ReadImage("X1041234AB0A\n", "a.MOT", {}),
                 "a.MOT:1: expected 'S' at the start of a record, found 'X'");
}

TEST(ReadImage, TellsADamagedFirstRecordFromARawBinary) {
  EXPECT_DAMAGED(ReadImage(":01?\n", "a", {}),
                 "a:1: expected a hexadecimal digit in column 4, found '?'");
}

TEST(ReadImage, TakesARawBinaryAtItsBase) {
  const ImageFile image = ReadImage(std::string_view("\x00:\xFF", 3), "a.bin", 0x8000);
  EXPECT_EQ(image.format, ImageFormat::kRawBinary);
  EXPECT_EQ(image.segments, (ImageSegments{{0x8000, {0x00, ':', 0xFF}}}));
}

TEST(ReadImage, TakesBytesAfterAColonForARawBinaryUnlessTheyAreText) {
  EXPECT_EQ(ReadImage(":\x01\x02", "a.bin", 0).segments, (ImageSegments{{0, {':', 1, 2}}}));
  EXPECT_EQ(ReadImage("S1\x80", "a.bin", 0).segments, (ImageSegments{{0, {'S', '1', 0x80}}}));
}

TEST(ReadImage, GivesAnEmptyRawBinaryNoSegment) {
  EXPECT_EQ(ReadImage("", "a.bin", 0).segments, ImageSegments{});
}

TEST(ReadImage, RefusesARawBinaryWithoutABase) {
  EXPECT_EQ(MessageOf<MisplacedBase>([] { (void)ReadImage("\x01", "a.bin", {}); }),
            "a.bin: neither Intel HEX nor Motorola S-record; a raw binary needs a base address");
}

TEST(ReadImage, RefusesABaseForAFileWithAddresses) {
  EXPECT_EQ(MessageOf<MisplacedBase>([] { (void)ReadImage(kSRecordText, "a.bin", 0); }),
            "a.bin: a base address is for a raw binary, this file is Motorola S-record");
}

TEST(ReadImage, RefusesARawBinaryPastTheAddressSpace) {
  EXPECT_EQ(ReadImage("ab", "a.bin", 0xFFFFFFFE).segments,
            (ImageSegments{{0xFFFFFFFE, {'a', 'b'}}}));
  EXPECT_DAMAGED(ReadImage("abc", "a.bin", 0xFFFFFFFE),
                 "a.bin: 3 bytes from address FFFFFFFE on run past address FFFFFFFF");
}

TEST(ReadImage, RefusesAnElfFileEvenWithABase) {
  for (const auto base : {std::optional<std::uint32_t>(), std::optional<std::uint32_t>(0x8000)}) {
    EXPECT_EQ(MessageOf<NotAnImage>([&] {
                (void)ReadImage(
                    "\x7F"
                    "ELF\x01",
                    "a.elf", base);
              }),
              "a.elf: is an ELF file, expected Intel HEX, Motorola S-record or raw binary; "
              "objcopy -O srec a.elf a.elf.srec makes an image of it");
  }
}

TEST(ReadImageFile, RefusesInputWithoutAnEnd) {
  EXPECT_EQ(MessageOf<FileTooLarge>([] { (void)ReadImageFile("/dev/zero", 0); }),
            "/dev/zero: expected at most 256 MiB, found more");
}

TEST(ReadImageFile, ReadsAFile) {
  const std::string path = ::testing::TempDir() + "quillmark_image_file_test.hex";
  std::ofstream(path) << kIntelHexText;
  EXPECT_EQ(ReadImageFile(path, {}).segments, (ImageSegments{{0, {0xAB}}}));
}

TEST(ReadImageFile, ReportsAFileThatIsNotThere) {
  EXPECT_EQ(MessageOf<CannotReadFile>([] { (void)ReadImageFile("no/such.hex", {}); }),
            "no/such.hex: No such file or directory");
}

TEST(ReadImageFile, ReportsADirectory) {
  EXPECT_EQ(MessageOf<CannotReadFile>([] { (void)ReadImageFile(".", {}); }), ".: is a directory");
}

TEST(FormatOfName, KnowsTheExtensionsInAnyCase) {
  for (const char* name : {"a.hex", "a.HEX", "a.ihex", "dir.s19/a.ihx"}) {
    EXPECT_EQ(FormatOfName(name), ImageFormat::kIntelHex) << name;
  }
  for (const char* name : {"a.s19", "a.s28", "a.s37", "a.srec", "a.Mot", "a.sx", "a.s"}) {
    EXPECT_EQ(FormatOfName(name), ImageFormat::kSRecord) << name;
  }
  for (const char* name : {"a.bin", "a", "hex", "a.hex.bin"}) {
    EXPECT_EQ(FormatOfName(name), ImageFormat::kRawBinary) << name;
  }
}

TEST(WriteImage, FillsTheGapsOfARawBinaryAndCountsThem) {
  std::ostringstream out;
  EXPECT_EQ(WriteImage(out, ImageFormat::kRawBinary, {{0x100, {'a', 'b'}}, {0x105, {'c'}}}, '.'),
            3U);
  EXPECT_EQ(out.str(), "ab...c");
}

TEST(WriteImage, FillsNoGapsWhereTheFileHasAddresses) {
  std::ostringstream intel_hex;
  EXPECT_EQ(WriteImage(intel_hex, ImageFormat::kIntelHex, {{0, {0xAB}}}, 0xFF), 0U);
  EXPECT_EQ(intel_hex.str(), kIntelHexText);
  std::ostringstream s_record;
  EXPECT_EQ(WriteImage(s_record, ImageFormat::kSRecord, {{0x1234, {0xAB}}}, 0xFF), 0U);
  EXPECT_EQ(s_record.str(), "S0030000FC\nS1041234AB0A\nS5030001FB\nS9030000FC\n");
}

TEST(NameOf, NamesTheFormats) {
  EXPECT_EQ(NameOf(ImageFormat::kIntelHex), "Intel HEX");
  EXPECT_EQ(NameOf(ImageFormat::kSRecord), "Motorola S-record");
  EXPECT_EQ(NameOf(ImageFormat::kRawBinary), "raw binary");
}

}  // namespace
}  // namespace quillmark::host
