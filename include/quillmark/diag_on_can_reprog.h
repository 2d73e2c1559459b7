// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "quillmark/byte_string.h"
#include "quillmark/dom.h"
#include "quillmark/export.h"
#include "quillmark/memory_image.h"
#include "quillmark/memory_map.h"
#include "quillmark/platform.h"
#include "quillmark/threading.h"
#include "quillmark/xml_doc_client.h"

namespace quillmark {

/// The eight records of a history, null where the ECU gave none.
using ByteStringArray = std::vector<std::shared_ptr<ByteString>>;

/// Reprograms one ECU: builds request documents for the host to run, checks the documents that the
/// host has run, and streams a whole download or upload through the event `XMLReady`. It never
/// touches a bus. docs/document-format.md gives the documents, docs/errors.md every error.
///
/// Order: `CANIDs` first (a request method or a transfer before it raises 91), `FlowControl` where
/// the ECU needs it, then the services in any order. A check method takes the document of its
/// request method after the host has run it; it needs no configuration and then reads the plain CAN
/// form.
///
/// Replace an object that was once in K form, do not reconfigure it: the K form, once chosen, is
/// kept by every later `CANIDs`, while a transfer worker, being a fresh object, follows the last
/// `CANIDs` alone. This is deliberate.
///
/// Threads: the members of an object are called by one thread at a time, `OnXMLReady` from any.
/// Different objects know nothing of each other and may work at once, also on one platform.
///
/// `XMLReady` is raised on a worker's thread, may come before `ComputeDownload` has returned, and
/// from several workers at once: as many transfers may run on one object as the host starts. While
/// they run, the host may
/// - call every member of the object, `CANIDs` and `FlowControl` included: a worker took its
///   settings when it started;
/// - replace the handler: an event takes the one that is there when it is raised, and the old one
///   may still be running, and is kept, until it returns;
/// - release the object, inside its handler or anywhere else: its workers keep it until they end,
///   and no destructor waits for a thread;
/// - read and change a delivered document, on any thread: no worker touches it any more;
/// - end the process, also inside a handler.
///
/// The handler may block, which holds up its own worker alone. It may throw: that ends its own
/// sequence with an empty `Node`. It may call members of this object if no other thread does
/// meanwhile.
///
/// Ownership: a document or byte string that a member returns is new and the host's own. Of an
/// argument nothing is kept: a transfer takes a copy of its image or map before it returns.
///
/// Errors: every member raises `Error` alone where the platform does. A failed call leaves the
/// object as it was. Any request method raises 91 before `CANIDs`, any check method 91 for a null
/// document, 13 for received bytes that are not hexadecimal text, and in gateway and K form 2003
/// "Checksum error …" for a damaged message.
class QUILLMARK_API DiagOnCANReprog : public XMLDocClient, public IThread {
 public:
  /// The name by which a threading library creates a worker.
  static constexpr std::string_view kProgID = "Quillmark.DiagOnCANReprog";

  /// Handler of the event: `Node` is a transfer document, or null at the end of a sequence, whether
  /// normal or by an error; `Cancel` comes in as true, and only a handler that sets it to false
  /// receives the next document. What the handler throws ends the run like a worker's error.
  ///
  /// A host tells a complete sequence by adding up: the `totalbytes` of all its documents give the
  /// bytes of all segments (or ranges).
  using XMLReadyHandler =
      std::function<void(const std::shared_ptr<IXMLDOMNode>& Node, bool& Cancel)>;

  /// Chooses the transport form and builds the templates. `RCANId` other than 0: plain CAN
  /// (ISO 15765-2), receiving on `RCANId` and sending on `XCANId`. `RCANId` = 0: an ECU address in
  /// `XCANId`, behind a CAN gateway for 0x6E and 0x7A, on a K line (ISO 14230-2) for any other.
  /// Raises 6 for an address outside 0..255. The identifiers are written as they are: what the bus
  /// can carry is the host's to know.
  virtual void CANIDs(std::int32_t RCANId, std::int32_t XCANId) = 0;

  /// The whole session-opening sequence, with the requests whose replies `gethisto` reads.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> StartDiag() = 0;

  /// Unpacks the run document of `StartDiag`: `RepIdent` and eight entries in each array, 24 bytes
  /// each. Two entries are required, six are optional and stay null from the first that is missing.
  /// Raises 4000 "Ecu is not reprogrammable", and then keeps in the outputs what it had stored.
  /// In K form it always raises 4000 at entry 0, with `RepIdent` and `RepHisto(0)` stored:
  /// deliberate.
  virtual void gethisto(const std::shared_ptr<DOMDocument>& root, ByteStringArray& RepHisto,
                        ByteStringArray& RepReprog, std::shared_ptr<ByteString>& RepIdent) = 0;

  /// Asks for the seed (service 27 81); in gateway form a start-communication step comes first.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> readseed() = 0;

  /// The four seed bytes. Raises 4001 (K form), 2000 "Reprog on CAN : init failed …" (gateway
  /// form), 2003 "SA#1 Illegal Reply : …" (CAN forms) and the negative responses 2032 to 2044 (CAN
  /// forms).
  [[nodiscard]] virtual std::shared_ptr<ByteString> getseed(
      const std::shared_ptr<DOMDocument>& root) = 0;

  /// Sends the key (service 27 82), which the host computes. Raises 91 without a key, 1000 for one
  /// that no message can hold: over 4093 bytes in plain CAN form, over 253 else. `checkunlock`
  /// reads back the replies to keys of 2 to 9 bytes in gateway form, 0 to 5 in plain CAN form, any
  /// in K form; with other lengths it looks at an acknowledgement or a flow control instead of the
  /// reply and fails.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> dounlock(
      const std::shared_ptr<ByteString>& key) = 0;

  /// Raises the negative responses 2032 to 2044, and 2003 "SA#2 Illegal Reply …".
  virtual void checkunlock(const std::shared_ptr<DOMDocument>& root) = 0;

  /// Starts the erase (routine 31 81) of the memory that `RL` names, an identifier of the ECU's.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> starterase(std::uint8_t RL) = 0;
  /// Raises 4003 "Start erase error …".
  virtual void checkstarterase(const std::shared_ptr<DOMDocument>& root) = 0;

  /// Asks whether the erase has finished: run and check it again and again, with a pause of the
  /// host's choice between.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> checkerase() = 0;
  /// True when the erase has finished, false while it runs. Raises 2000 without a reply, else 4004
  /// "Erase error …".
  [[nodiscard]] virtual bool checkcheckerase(const std::shared_ptr<DOMDocument>& root) = 0;

  /// Checks a run document of `ComputeDownload`. Raises 4005 "Download error …" where the host
  /// marked a failure with an `e` element.
  virtual void checkdownload(const std::shared_ptr<DOMDocument>& root) = 0;

  /// Starts a routine by its local identifier, 0..255, one of the ECU's.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> startroutine(std::uint8_t Routine) = 0;
  /// Raises 4006 "Start routine …H error …".
  virtual void checkstartroutine(const std::shared_ptr<DOMDocument>& root,
                                 std::uint8_t Routine) = 0;

  /// Asks whether a routine has finished, like `checkerase`.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> routinestatus(std::uint8_t Routine) = 0;
  /// True when the routine has finished, false while it runs. Raises 2000 without a reply, else
  /// 4006; 9 where a reply that begins rightly ends before its status.
  [[nodiscard]] virtual bool checkroutine(const std::shared_ptr<DOMDocument>& root,
                                          std::uint8_t Routine) = 0;

  /// Writes the 48-byte history record `Histo`; of a shorter or longer one, as many bytes as both
  /// have, the others 0. Raises 91 without a record.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> writelogzone(
      const std::shared_ptr<ByteString>& Histo) = 0;
  /// Raises 4008 "Write log zone error …" where the host marked a failure with an `e` element.
  virtual void checkwritelogzone(const std::shared_ptr<DOMDocument>& root) = 0;

  /// Checks a run document of `ComputeUpload` and adds one segment a reply to `Image`, all or none.
  /// Raises 4007 "Upload error" where the host marked a failure, 2000 for a reply without data,
  /// 2003 for a wrong checksum, 9 for a reply shorter than it says.
  virtual void checkupload(const std::shared_ptr<DOMDocument>& root,
                           const std::shared_ptr<MemoryImage>& Image) = 0;

  /// Ends the session (service 82, in plain CAN form 10 81). Its reply has no check: the host sees
  /// from its own run whether it came.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> stopcomm() = 0;

  /// Computes the download of `Image` on a worker and returns once the worker has started;
  /// documents of about 32 KB of data arrive through `XMLReady`. Runs of `FillByte` are left out in
  /// whole units of `IMod` bytes, tested at multiples of `IMod`; a block carries at most `MaxSize`
  /// bytes. Raises 1000 "Invalid block size (…)" for `MaxSize` outside 1..255, and a negative
  /// status of `StartThread`. In gateway and K form a block of more than 247 bytes does not fit a
  /// message and ends the run.
  virtual void ComputeDownload(std::uint8_t RL, const std::shared_ptr<MemoryImage>& Image,
                               std::uint8_t FillByte, std::int32_t IMod, std::int32_t MaxSize) = 0;

  /// Computes the upload of the ranges of `Map`, like `ComputeDownload`, in requests of at most 48
  /// bytes, which the ECU answers for the memory `RL`.
  virtual void ComputeUpload(const std::shared_ptr<MemoryMap>& Map, std::uint8_t RL) = 0;

  /// Keeps the session alive (service 3E). When it is due is the host's to know: the ECU's session
  /// lapses after some seconds without a request (S3 of ISO 14230-3). Its reply has no check.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> TesterPresent() = 0;

  /// ISO 15765-2 flow control that requests expect of the ECU: block size `BS` (0..255; 0 means
  /// that no further flow control comes) and separation time `STMin` in milliseconds (0..255).
  /// Raises 4009 to 4012, `STMin` first.
  virtual void FlowControl(std::int32_t BS, std::int32_t STMin) = 0;

  /// Replaces the handler of the event `XMLReady`; an empty one removes it, and then a transfer
  /// stops after its first document. May be called from any thread, also while a worker runs.
  virtual void OnXMLReady(XMLReadyHandler handler) = 0;
};

/// A new object with its defaults. Raises 91 without a platform.
[[nodiscard]] QUILLMARK_API std::shared_ptr<DiagOnCANReprog> CreateDiagOnCANReprog(
    const std::shared_ptr<Platform>& platform);

}  // namespace quillmark
