// SPDX-License-Identifier: MIT
#include <array>

#include "support/component_test.h"

namespace quillmark::testing {
namespace {

constexpr auto kNotReprogrammable = "Ecu is not reprogrammable";

/// The identifiers of the records in the order in which `StartDiag` reads them.
constexpr std::array<std::string_view, 17> kIdentifiers = {"80", "F0", "F1", "FE", "FF", "FC",
                                                           "FD", "FA", "FB", "F8", "F9", "F6",
                                                           "F7", "F4", "F5", "F2", "F3"};

/// What a history holds.
struct History {
  ByteStringArray RepHisto;
  ByteStringArray RepReprog;
  std::shared_ptr<ByteString> RepIdent;

  [[nodiscard]] static std::string Text(const std::shared_ptr<ByteString>& record) {
    return record ? record->Hex() : "none";
  }
};

/// 24 bytes of the record with an identifier.
std::string Record(std::string_view identifier) {
  std::string hex;
  for (int byte = 0; byte < 24; ++byte) {
    hex += identifier;
  }
  return hex;
}

std::string Repeated(std::string_view identifier, std::size_t count) {
  std::string hex;
  for (std::size_t byte = 0; byte < count; ++byte) {
    hex += identifier;
  }
  return hex;
}

class HistoryTest : public ComponentTest {
 protected:
  History Read(const Form& form) {
    diag_->gethisto(Replies(form, frames_), history_.RepHisto, history_.RepReprog,
                    history_.RepIdent);
    return history_;
  }

  /// Four frames of a reply 61, identifier, 24 times identifier.
  void AddPlainCanRecord(std::string_view identifier) {
    frames_.push_back("101A61" + Repeated(identifier, 5));
    for (const char* header : {"21", "22", "23"}) {
      frames_.push_back(header + Repeated(identifier, 7));
    }
  }

  void AddPlainCanDocument() {
    frames_.emplace_back("0250C0");
    AddPlainCanRecord(kIdentifiers.front());
    frames_.emplace_back("025085");
    for (std::size_t index = 1; index < kIdentifiers.size(); ++index) {
      AddPlainCanRecord(kIdentifiers[index]);
    }
  }

  std::vector<std::string> frames_;
  History history_{{String("01")}, {}, String("02")};
};

struct PlainCanHistory : HistoryTest {
  PlainCanHistory() {
    Configure(kPlainCan);
    AddPlainCanDocument();
  }
};

TEST_F(PlainCanHistory, HasIdentificationAndEightEntries) {
  const History history = Read(kPlainCan);
  EXPECT_EQ(History::Text(history.RepIdent), Record("80"));
  ASSERT_EQ(history.RepHisto.size(), 8U);
  ASSERT_EQ(history.RepReprog.size(), 8U);
  for (std::size_t entry = 0; entry < 8; ++entry) {
    EXPECT_EQ(History::Text(history.RepHisto[entry]), Record(kIdentifiers[1 + 2 * entry]));
    EXPECT_EQ(History::Text(history.RepReprog[entry]), Record(kIdentifiers[2 + 2 * entry]));
    EXPECT_EQ(history.RepHisto[entry]->StartAddress(), 1);
  }
}

TEST_F(PlainCanHistory, FirstAndLastEntryStandAtTheirElements) {
  frames_[6] = "101AAAAAF0F0F0F0";
  frames_[66] = "101ABBBBF3F3F3F3";
  const History history = Read(kPlainCan);
  EXPECT_EQ(History::Text(history.RepHisto[0]), Record("F0"));
  EXPECT_EQ(frames_.size(), 70U);
  EXPECT_EQ(History::Text(history.RepReprog[7]), Record("F3"));
}

TEST_F(PlainCanHistory, WrongIdentificationLeavesNothing) {
  frames_[1] = "0661800102030400";
  EXPECT_ERROR(Read(kPlainCan), 4000, kNotReprogrammable);
  EXPECT_EQ(History::Text(history_.RepIdent), "none");
  EXPECT_EQ(history_.RepHisto, ByteStringArray(8));
  EXPECT_EQ(history_.RepReprog, ByteStringArray(8));
}

// D17.
TEST_F(PlainCanHistory, FirstTwoEntriesAreRequired) {
  frames_[6 + 8 + 4] = "03612111";  // the second record of entry 1
  EXPECT_ERROR(Read(kPlainCan), 4000, kNotReprogrammable);
  EXPECT_EQ(History::Text(history_.RepIdent), Record("80"));
  EXPECT_EQ(History::Text(history_.RepReprog[0]), Record("F1"));
  EXPECT_EQ(History::Text(history_.RepHisto[1]), Record("FE"));
  EXPECT_EQ(History::Text(history_.RepReprog[1]), "none");
}

TEST_F(PlainCanHistory, ShortRecordFromEntryTwoOnEndsIt) {
  frames_[6 + 16] = "1019" + Repeated("FC", 6);  // 25 bytes
  const History history = Read(kPlainCan);
  EXPECT_EQ(History::Text(history.RepReprog[1]), Record("FF"));
  for (std::size_t entry = 2; entry < 8; ++entry) {
    EXPECT_EQ(History::Text(history.RepHisto[entry]), "none");
    EXPECT_EQ(History::Text(history.RepReprog[entry]), "none");
  }
}

TEST_F(PlainCanHistory, ShortSecondRecordKeepsTheFirst) {
  frames_[6 + 16 + 4] = "037F2131";
  const History history = Read(kPlainCan);
  EXPECT_EQ(History::Text(history.RepHisto[2]), Record("FC"));
  EXPECT_EQ(History::Text(history.RepReprog[2]), "none");
  EXPECT_EQ(History::Text(history.RepHisto[3]), "none");
}

TEST_F(PlainCanHistory, SilentEcuIsNotReprogrammable) {
  frames_.clear();
  EXPECT_ERROR(Read(kPlainCan), 4000, kNotReprogrammable);
}

TEST_F(PlainCanHistory, FrameThatBeginsNoMessageHasNoObject) {
  frames_[1] = "21";
  EXPECT_ERROR(Read(kPlainCan), 91, "Object variable or With block variable not set");
}

TEST_F(PlainCanHistory, RecordsAreIndependent) {
  const History history = Read(kPlainCan);
  history.RepHisto[0]->SetItem(1, 0x00);
  EXPECT_EQ(History::Text(history.RepReprog[0]), Record("F1"));
  EXPECT_EQ(History::Text(Read(kPlainCan).RepHisto[0]), Record("F0"));
}

struct GatewayHistory : HistoryTest {
  GatewayHistory() {
    Configure(kGateway);
    frames_.emplace_back("0183F16EC1EF8F21");
    for (const std::string_view identifier : kIdentifiers) {
      AddRecord(identifier);
    }
  }

  /// 04 9A F1 6E 61, identifier, 24 times identifier, checksum: 31 bytes in four frames.
  void AddRecord(std::string_view identifier) {
    const auto byte = static_cast<unsigned>(std::stoi(std::string(identifier), nullptr, 16));
    const unsigned sum = 0x9A + 0xF1 + 0x6E + 0x61 + 25 * byte;
    frames_.push_back("049AF16E61" + Repeated(identifier, 3));
    frames_.push_back(Repeated(identifier, 8));
    frames_.push_back(Repeated(identifier, 8));
    const auto checksum = String("00");
    checksum->SetItem(1, static_cast<std::uint8_t>(sum & 0xFFU));
    frames_.push_back(Repeated(identifier, 6) + checksum->Hex());
  }
};

TEST_F(GatewayHistory, HasIdentificationAndEightEntries) {
  const History history = Read(kGateway);
  EXPECT_EQ(History::Text(history.RepIdent), Record("80"));
  for (std::size_t entry = 0; entry < 8; ++entry) {
    EXPECT_EQ(History::Text(history.RepHisto[entry]), Record(kIdentifiers[1 + 2 * entry]));
    EXPECT_EQ(History::Text(history.RepReprog[entry]), Record(kIdentifiers[2 + 2 * entry]));
  }
}

TEST_F(GatewayHistory, EntriesStandOneElementEarlierThanInPlainCanForm) {
  frames_[5] = "01827FF16EAA";
  EXPECT_ERROR(Read(kGateway), 2003, "Checksum error 827FF16EAA");
}

struct KLineHistory : HistoryTest {
  KLineHistory() {
    Configure(kKLine);
    frames_ = {"83F111C1EF8FC4", "9AF1116180" + Repeated("80", 24) + "7D",
               "9AF11161F0" + Repeated("F0", 24) + "6D", "9AF11161F1" + Repeated("F1", 24) + "86"};
  }
};

// D16.
TEST_F(KLineHistory, AlwaysFailsAtTheFirstEntry) {
  EXPECT_ERROR(Read(kKLine), 4000, kNotReprogrammable);
  EXPECT_EQ(History::Text(history_.RepIdent), Record("80"));
  EXPECT_EQ(History::Text(history_.RepHisto[0]), Record("F0"));
  EXPECT_EQ(History::Text(history_.RepReprog[0]), "none");
  EXPECT_EQ(History::Text(history_.RepHisto[1]), "none");
}

TEST_F(KLineHistory, WrongChecksumIsReported) {
  frames_[1].back() = 'F';
  EXPECT_ERROR(Read(kKLine), 2003, "Checksum error " + frames_[1]);
}

TEST_F(ComponentTest, HistoryOfNoDocumentHasNoObjectAndEmptiesTheOutputs) {
  ByteStringArray history(3);
  ByteStringArray reprogramming;
  auto identification = String("01");
  EXPECT_ERROR(diag_->gethisto(nullptr, history, reprogramming, identification), 91,
               "Object variable or With block variable not set");
  EXPECT_EQ(history, ByteStringArray(8));
  EXPECT_EQ(reprogramming, ByteStringArray(8));
  EXPECT_EQ(identification, nullptr);
}

// What `StartDiag` asks and what `gethisto` reads belong together.
TEST_F(ComponentTest, SessionOpeningInPlainCanForm) {
  Configure(kPlainCan);
  std::vector<std::string> steps = {Send("0210C00000000000"), Receive("0250C0")};
  const auto read_record = [&](std::string_view identifier, std::string_view padding) {
    steps.push_back(Send("0221" + std::string(identifier) + std::string(padding)));
    steps.push_back(Receive("101A61" + std::string(identifier)));
    for (const char* frame : {"21", "22", "23"}) {
      steps.push_back(Send("3001000000000000"));
      steps.push_back(Receive(frame));
    }
  };
  read_record("80", "0000000000");
  steps.push_back(Send("0210850000000000"));
  steps.push_back(Receive("025085"));
  for (std::size_t index = 1; index < kIdentifiers.size(); ++index) {
    read_record(kIdentifiers[index], "0000000000");
  }
  EXPECT_EQ(XmlOf(*diag_->StartDiag()), Document(kPlainCan, steps));
}

TEST_F(ComponentTest, SessionOpeningInGatewayForm) {
  Configure(kGateway);
  std::vector<std::string> steps = {Send("01816EF18161"), Receive("0183F16EC1")};
  const auto read_record = [&](const std::string& identifier, const std::string& checksum) {
    steps.push_back(Send("01826EF121" + identifier + checksum));
    steps.push_back(Receive("049AF16E61" + identifier));
    for (int frame = 0; frame < 3; ++frame) {
      steps.push_back(Send("81"));
      steps.push_back(Receive(""));
    }
  };
  read_record("80", "82");
  read_record("F0", "F2");
  read_record("F1", "F3");
  read_record("FE", "00");
  read_record("FF", "01");
  read_record("FC", "FE");
  read_record("FD", "FF");
  read_record("FA", "FC");
  read_record("FB", "FD");
  read_record("F8", "FA");
  read_record("F9", "FB");
  read_record("F6", "F8");
  read_record("F7", "F9");
  read_record("F4", "F6");
  read_record("F5", "F7");
  read_record("F2", "F4");
  read_record("F3", "F5");
  steps.push_back(Send("01816EF18262"));
  steps.push_back(Receive("0181F16EC2A2"));
  EXPECT_EQ(XmlOf(*diag_->StartDiag()), Document(kGateway, steps));
}

TEST_F(ComponentTest, SessionOpeningInKLineForm) {
  Configure(kKLine);
  std::vector<std::string> steps = {"<bk>25</bk><w>25</w>" + Send("8111F18104"),
                                    Receive("83F111C1")};
  const auto read_record = [&](const std::string& identifier, const std::string& checksum) {
    steps.push_back(Send("8211F121" + identifier + checksum));
    steps.push_back(Receive("9AF11161" + identifier));
  };
  read_record("80", "25");
  read_record("F0", "95");
  read_record("F1", "96");
  read_record("FE", "A3");
  read_record("FF", "A4");
  read_record("FC", "A1");
  read_record("FD", "A2");
  read_record("FA", "9F");
  read_record("FB", "A0");
  read_record("F8", "9D");
  read_record("F9", "9E");
  read_record("F6", "9B");
  read_record("F7", "9C");
  read_record("F4", "99");
  read_record("F5", "9A");
  read_record("F2", "97");
  read_record("F3", "98");
  EXPECT_EQ(XmlOf(*diag_->StartDiag()), Document(kKLine, steps));
}

}  // namespace
}  // namespace quillmark::testing
