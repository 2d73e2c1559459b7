// SPDX-License-Identifier: MIT
#include <iostream>

#include "quillmark/quillmark.h"

int main() {
  const auto reprog = quillmark::CreateDiagOnCANReprog(quillmark::CreatePortablePlatform());
  reprog->CANIDs(1850, 1586);                // plain CAN: receive on 1850, send on 1586
  const auto document = reprog->readseed();  // what to send, what to receive
  std::cout << document->xml() << '\n';      // run it on a bus, then: reprog->getseed(document)
}
