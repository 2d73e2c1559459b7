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

/// The eight records of a history; null for those that the ECU did not send.
using ByteStringArray = std::vector<std::shared_ptr<ByteString>>;

/// Reprograms one ECU: builds request documents for the host to run, checks the documents that the
/// host has run, and streams whole downloads and uploads through the event `XMLReady`. It never
/// touches a bus. docs/document-format.md describes the documents, docs/errors.md every error, and
/// docs/deliberate.md the behaviour that may look like a mistake; numbers such as D1 refer to it.
///
/// Order: `CANIDs` first (request methods and transfers raise 91 before it), `FlowControl` if the
/// ECU needs it, then the services in any order. A check method takes the document of its request
/// method after the host has run it. A document is run once: each poll of an erase or a routine
/// asks for a new one. Create a new object to change from a K line to another transport form (D1).
///
/// Arguments that are bytes are cut by the compiler: an `RL` of 0x101 arrives as 0x01. Compile with
/// `-Wconversion`.
///
/// Threads: the members of an object are called by one thread at a time, `OnXMLReady` by any.
/// Different objects are independent and may be used at the same time, also on one platform.
///
/// `XMLReady` is raised on a worker's thread. It may arrive before `ComputeDownload` has returned,
/// and from several workers at once: a host may start any number of transfers on one object. While
/// they run, the host may
/// - call every member of the object, including `CANIDs` and `FlowControl`: a worker took its
///   settings when it started;
/// - replace the handler: an event uses the handler that is set when it is raised. The old one may
///   still be running, and is kept until it returns;
/// - release the object, in its handler or anywhere else: its workers keep it until they end. No
///   destructor waits for a thread;
/// - read and change a delivered document, on any thread: no worker uses it any more;
/// - end the process, also in a handler.
///
/// The handler may block, which delays its own worker only. It may throw, which ends its own
/// sequence with an empty `Node`. It may call members of this object if no other thread does so
/// meanwhile.
///
/// Ownership: a document or byte string that a member returns is new and belongs to the host.
/// Arguments are not kept: a transfer takes a copy of its image or map before it returns.
///
/// Errors: every member raises `Error`, and nothing else if the platform raises nothing else. A
/// failed call leaves the object unchanged. Every request method raises 91 before `CANIDs`. Every
/// check method raises 91 for a null document, 13 for received bytes that are not hexadecimal text,
/// and in gateway and K line form 2003 "Checksum error …" for a damaged message.
class QUILLMARK_API DiagOnCANReprog : public XMLDocClient, public IThread {
 public:
  /// The name by which a threading library creates a worker.
  static constexpr std::string_view kProgID = "Quillmark.DiagOnCANReprog";

  /// Handler of the event. `Node` is a transfer document, or null at the end of a sequence, whether
  /// normal or caused by an error. `Cancel` comes in as true; only a handler that sets it to false
  /// receives the next document. An exception from the handler ends the sequence like an error in
  /// the worker (D24, D25).
  ///
  /// While the closing event of a sequence that failed is raised, `std::current_exception()` is the
  /// error that ended it. After a normal end, and in a COM host, there is none.
  ///
  /// A sequence is complete if the `totalbytes` of its documents add up to the bytes of all
  /// segments (or ranges).
  using XMLReadyHandler =
      std::function<void(const std::shared_ptr<IXMLDOMNode>& Node, bool& Cancel)>;

  /// Chooses the transport form and builds the templates. If `RCANId` is not 0: plain CAN
  /// (ISO 15765-2), receiving on `RCANId` and sending on `XCANId`. If `RCANId` is 0, `XCANId` is an
  /// ECU address: 0x6E and 0x7A are behind a CAN gateway, any other is on a K line (ISO 14230-2).
  /// Raises 6 for an address outside 0..255. Identifiers are not checked: the host knows what its
  /// bus can carry.
  virtual void CANIDs(std::int32_t RCANId, std::int32_t XCANId) = 0;

  /// Opens the session, and requests the records that `gethisto` reads.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> StartDiag() = 0;

  /// Extracts the records from the document of `StartDiag`: `RepIdent` and eight entries in each
  /// array, 24 bytes each. Two entries are required; the other six are optional and stay null from
  /// the first that is missing. Raises 4000 "Ecu is not reprogrammable"; the outputs then hold what
  /// had been stored (D17). On a K line it always raises 4000, after the identification (D16).
  virtual void gethisto(const std::shared_ptr<DOMDocument>& root, ByteStringArray& RepHisto,
                        ByteStringArray& RepReprog, std::shared_ptr<ByteString>& RepIdent) = 0;

  /// Requests the seed (service 27 81). In gateway form, start communication comes first.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> readseed() = 0;

  /// Returns the four seed bytes. Raises 4001 (K line form), 2000 "Reprog on CAN : init failed …"
  /// (gateway form), 2003 "SA#1 Illegal Reply : …" (CAN forms), and 2032 to 2044 for negative
  /// responses (CAN forms, D13).
  [[nodiscard]] virtual std::shared_ptr<ByteString> getseed(
      const std::shared_ptr<DOMDocument>& root) = 0;

  /// Sends the key (service 27 82), which the host computes. Raises 91 without a key, and 1000 for
  /// a key that does not fit into a message: over 4093 bytes in plain CAN form, over 253 in the
  /// others. `checkunlock` finds the reply for keys of 2 to 9 bytes in gateway form, 0 to 5 bytes
  /// in plain CAN form, and any length in K line form (D10).
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> dounlock(
      const std::shared_ptr<ByteString>& key) = 0;

  /// Raises 2032 to 2044 for negative responses, and 2003 "SA#2 Illegal Reply …" (D14).
  virtual void checkunlock(const std::shared_ptr<DOMDocument>& root) = 0;

  /// Starts the erase (routine 31 81) of the memory `RL`, an identifier that the ECU defines.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> starterase(std::uint8_t RL) = 0;
  /// Raises 4003 "Start erase error …".
  virtual void checkstarterase(const std::shared_ptr<DOMDocument>& root) = 0;

  /// Asks whether the erase has finished. The host repeats it, with a pause of its choice in
  /// between, until `checkcheckerase` returns true.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> checkerase() = 0;
  /// Returns true when the erase has finished, false while it is running. Raises 2000 without a
  /// reply, 4004 "Erase error …" for any other reply.
  [[nodiscard]] virtual bool checkcheckerase(const std::shared_ptr<DOMDocument>& root) = 0;

  /// Checks a document of `ComputeDownload` after its run. Raises 4005 "Download error …" if the
  /// host marked a failure with an `e` element (D18). A document that was never run passes: ask
  /// `HasRun` first.
  virtual void checkdownload(const std::shared_ptr<DOMDocument>& root) = 0;

  /// Starts a routine by its local identifier, 0..255, which the ECU defines.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> startroutine(std::uint8_t Routine) = 0;
  /// Raises 4006 "Start routine …H error …".
  virtual void checkstartroutine(const std::shared_ptr<DOMDocument>& root,
                                 std::uint8_t Routine) = 0;

  /// Asks whether a routine has finished, like `checkerase`.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> routinestatus(std::uint8_t Routine) = 0;
  /// Returns true when the routine has finished, false while it is running. Raises 2000 without a
  /// reply, 9 if a reply with the right prefix ends before its status, 4006 for any other reply
  /// (D15).
  [[nodiscard]] virtual bool checkroutine(const std::shared_ptr<DOMDocument>& root,
                                          std::uint8_t Routine) = 0;

  /// Writes the 48-byte history record `Histo`. A longer one is cut, a shorter one filled with 0.
  /// Raises 91 without a record.
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> writelogzone(
      const std::shared_ptr<ByteString>& Histo) = 0;
  /// Raises 4008 "Write log zone error …" if the host marked a failure with an `e` element (D18). A
  /// document that was never run passes: ask `HasRun` first.
  virtual void checkwritelogzone(const std::shared_ptr<DOMDocument>& root) = 0;

  /// Checks a document of `ComputeUpload` after its run and adds one segment per reply to `Image`,
  /// all or none. Raises 4007 "Upload error" if the host marked a failure, 2000 for a reply without
  /// data, 2003 for a wrong checksum, 9 for a reply shorter than it says (D23).
  virtual void checkupload(const std::shared_ptr<DOMDocument>& root,
                           const std::shared_ptr<MemoryImage>& Image) = 0;

  /// Ends the session (service 82; in plain CAN form 10 81). The reply has no check method (D22).
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> stopcomm() = 0;

  /// Computes the download of `Image` on a worker and returns once the worker has started.
  /// Documents with about 32 KB of data each arrive through `XMLReady` (D28). Runs of `FillByte`
  /// are left out in whole units of `IMod` bytes, at multiples of `IMod` (D26). A block carries at
  /// most `MaxSize` bytes. Raises 1000 "Invalid block size (…)" for a `MaxSize` outside 1..255, and
  /// a negative status of `StartThread`. In gateway and K line form, a block of more than 247 bytes
  /// does not fit into a message and ends the sequence. Addresses are cut to 24 bits in the
  /// requests: a host refuses an image beyond 0xFFFFFF, which would be written elsewhere.
  virtual void ComputeDownload(std::uint8_t RL, const std::shared_ptr<MemoryImage>& Image,
                               std::uint8_t FillByte, std::int32_t IMod, std::int32_t MaxSize) = 0;

  /// Computes the upload of the ranges of `Map` in the same way, in requests of at most 48 bytes.
  /// The replies must be for the memory `RL` (D8). Addresses are cut to 24 bits in the requests, as
  /// in a download.
  virtual void ComputeUpload(const std::shared_ptr<MemoryMap>& Map, std::uint8_t RL) = 0;

  /// Keeps the session alive (service 3E). The host schedules it: the session of the ECU lapses
  /// after some seconds without a request (S3 of ISO 14230-3). The reply has no check method (D22).
  [[nodiscard]] virtual std::shared_ptr<DOMDocument> TesterPresent() = 0;

  /// Sets the ISO 15765-2 flow control that requests expect from the ECU: block size `BS` (0..255;
  /// 0 means no further flow control) and separation time `STMin` in milliseconds (0..255). Raises
  /// 4009 to 4012; `STMin` is checked first. See D5 and D6.
  virtual void FlowControl(std::int32_t BS, std::int32_t STMin) = 0;

  /// Replaces the handler of the event `XMLReady`. An empty one removes it; transfers then stop
  /// after their first document. May be called by any thread, also while a worker is running.
  /// A handler that holds a `shared_ptr` of its own object keeps the object for ever: hold a
  /// `weak_ptr`.
  virtual void OnXMLReady(XMLReadyHandler handler) = 0;
};

/// Creates an object with default settings. Raises 91 without a platform.
[[nodiscard]] QUILLMARK_API std::shared_ptr<DiagOnCANReprog> CreateDiagOnCANReprog(
    const std::shared_ptr<Platform>& platform);

}  // namespace quillmark
