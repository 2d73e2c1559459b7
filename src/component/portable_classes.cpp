#include "component/memory_guard.h"
#include "platform/portable/portable_platform_factory.h"
#include "quillmark/diag_on_can_reprog.h"
#include "quillmark/portable_platform.h"
#include "quillmark/xml_doc_client.h"

namespace quillmark {

std::shared_ptr<PortablePlatform> CreatePortablePlatform() {
  return GuardMemory([] {
    auto platform = MakePortablePlatform();
    platform->RegisterClass(std::string(DiagOnCANReprog::kProgID), CreateDiagOnCANReprog);
    platform->RegisterClass(std::string(XMLDocClient::kProgID),
                            [](const std::shared_ptr<Platform>&) { return CreateXMLDocClient(); });
    return platform;
  });
}

}  // namespace quillmark
