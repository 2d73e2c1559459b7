// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>

#include "quillmark/host/runner.h"
#include "quillmark/host/simulated_ecu.h"
#include "quillmark/portable_platform.h"

namespace quillmark::host {
namespace {

using namespace std::chrono_literals;

/// Runs a document on a simulated ECU and gives the received frames, one blank between two.
std::string ReceivedFrames(const EcuOptions& options, const std::string& xml) {
  SimulatedEcu ecu(options);
  SimulatedBus bus(ecu);
  const std::shared_ptr<DOMDocument> document = CreatePortablePlatform()->CreateDOMDocument();
  document->loadXML(xml);
  const RunOutcome outcome = Runner(bus, options.form).Run(*document);
  EXPECT_TRUE(outcome.complete()) << outcome.reason;
  std::string frames;
  const std::shared_ptr<IXMLDOMNodeList> received = document->selectNodes("//r/d");
  for (std::size_t i = 0; i < received->length(); ++i) {
    frames += (i == 0 ? "" : " ") + received->item(i)->text();
  }
  return frames;
}

// Each document: open a session, read the identification.

TEST(SimulatedRun, ReadsTheIdentificationInPlainCanForm) {
  EXPECT_EQ(ReceivedFrames({},
                           "<can><x i='1850'><i>1586</i>"
                           "<s><d>0210C00000000000</d></s><r><c>0250C0</c></r>"
                           "<s><d>0221800000000000</d></s><r><c>101A6180</c></r>"
                           "<s><d>3001000000000000</d></s><r><c>21</c></r>"
                           "<s><d>3001000000000000</d></s><r><c>22</c></r>"
                           "<s><d>3001000000000000</d></s><r><c>23</c></r>"
                           "</x></can>"),
            "0250C0AAAAAAAAAA 101A618053494D55 214C415445442045 2243552030303120 23524556204120AA");
}

TEST(SimulatedRun, ReadsTheIdentificationInGatewayForm) {
  EXPECT_EQ(ReceivedFrames({.form = TransportForm::kGateway},
                           "<can><x i='3'><i>13</i>"
                           "<s><d>01816EF18161</d></s><r><c>0183F16EC1</c></r>"
                           "<s><d>01826EF1218082</d></s><r><c>049AF16E6180</c></r>"
                           "<s><d>81</d></s><r><c></c></r>"
                           "<s><d>81</d></s><r><c></c></r>"
                           "<s><d>81</d></s><r><c></c></r>"
                           "</x></can>"),
            "0183F16EC16B8F9D 049AF16E61805349 4D554C4154454420 4543552030303120 524556204120BE");
}

TEST(SimulatedRun, ReadsTheIdentificationInKLineForm) {
  EXPECT_EQ(ReceivedFrames({.form = TransportForm::kKLine, .address = 0x11},
                           "<k><bk>25</bk><w>25</w>"
                           "<s><d>8111F18104</d></s><r><c>83F111C1</c></r>"
                           "<s><d>8211F1218025</d></s><r><c>9AF1116180</c></r>"
                           "</k>"),
            "83F111C16B8F40 9AF111618053494D554C4154454420454355203030312052455620412061");
}

TEST(SimulatedRun, SendsASegmentedRequestAsTheEcuAsksForIt) {
  // A long 21 80, refused in the default session once its last frame has come.
  SimulatedEcu ecu({.block_size = 2, .separation_time = 20});
  SimulatedBus bus(ecu);
  const std::shared_ptr<DOMDocument> document = CreatePortablePlatform()->CreateDOMDocument();
  document->loadXML(
      "<can><x i='1850'><i>1586</i>"
      "<s><d>1016218001020304</d></s><r><c>300214</c></r>"
      "<s><d>2105060708090A0B</d></s><w>20</w>"
      "<s><d>220C0D0E0F101112</d></s><r><c>300214</c></r>"
      "<s><d>2313140000000000</d></s><r><c>037F21</c></r>"
      "</x></can>");
  const RunOutcome outcome = Runner(bus, TransportForm::kPlainCan).Run(*document);
  EXPECT_TRUE(outcome.complete()) << outcome.reason;
  EXPECT_EQ(document->selectSingleNode("/can/x/r[2]/d")->text(), "037F2180AAAAAAAA");
  EXPECT_GE(outcome.elapsed, 20ms);
}

}  // namespace
}  // namespace quillmark::host
