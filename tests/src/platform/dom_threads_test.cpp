// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include <thread>
#include <vector>

#include "tests/src/platform/xml_samples.h"

namespace quillmark::testing {
namespace {

TEST(DomThreads, SeveralThreadsReadOneDocument) {
  const auto document = MakePortablePlatform()->CreateFreeThreadedDOMDocument();
  document->loadXML(kEverything);
  std::vector<std::string> results(4);
  std::vector<std::thread> readers;
  for (std::string& result : results) {
    readers.emplace_back([&document, &result] {
      for (int round = 0; round < 50; ++round) {
        const auto copy = std::static_pointer_cast<DOMDocument>(document->cloneNode(true));
        result = document->xml() + document->text() + copy->xml() +
                 document->selectSingleNode("/can/x")->ownerDocument()->xml() +
                 std::to_string(document->selectNodes("//e")->length()) +
                 document->documentElement()->getAttribute("i").value_or("none");
      }
    });
  }
  for (std::thread& reader : readers) {
    reader.join();
  }
  const std::string xml = kEverything;
  EXPECT_THAT(results, ::testing::Each(xml + "\na<b>c" + xml + xml + "11"));
}

TEST(DomThreads, ADocumentIsHandedFromThreadToThread) {
  std::shared_ptr<IXMLDOMNode> node;
  std::thread([&node] {
    const auto document = MakePortablePlatform()->CreateFreeThreadedDOMDocument();
    document->loadXML("<a/>");
    node = document->documentElement();
  }).join();
  node->setText("t");
  EXPECT_EQ(node->ownerDocument()->xml(), "<a>t</a>");
}

}  // namespace
}  // namespace quillmark::testing
