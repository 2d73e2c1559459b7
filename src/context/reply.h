// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "base/hex.h"
#include "context/addressing.h"
#include "context/reply_frames.h"
#include "quillmark/dom.h"

namespace quillmark {

/// The reply message whose first frame is `node` or follows it: service bytes, transport framing
/// removed. Empty if there is no node or the frame has no data. Nothing if, in plain CAN form, the
/// frame does not begin a message.
///
/// Raises 91 if a frame is missing, 2000 if a further frame has no data, 2003 if a K-style message
/// is cut off or has a wrong checksum, 9 if a plain CAN frame ends too early, 13 if the data is not
/// hex.
[[nodiscard]] std::optional<Bytes> ReadReply(TransportForm form,
                                             const std::shared_ptr<IXMLDOMNode>& node);

/// The same for the message that begins in the next of `frames`, which must have data: raises 2000
/// if it has none.
[[nodiscard]] std::optional<Bytes> ReadReceivedReply(TransportForm form, ReplyFrames& frames);

/// The message that starts in the `r` element with `index`, counted from 0, of the exchange. Raises
/// 91 if that frame does not begin a message.
[[nodiscard]] Bytes ReadReplyAt(TransportForm form, const std::shared_ptr<DOMDocument>& root,
                                std::size_t index);

/// The same for any path.
[[nodiscard]] Bytes ReadReplyAtPath(TransportForm form, const std::shared_ptr<DOMDocument>& root,
                                    const std::string& path);

/// Raises the error of a negative response (7F, service identifier, response code); returns for
/// every other reply. Raises 2000 "No reply" for an empty reply, 2041 for a negative response that
/// is cut short, 2032 to 2044 by the response code.
void CheckNegativeReply(ByteView reply);

/// Index of the reply to a request that takes two frames in gateway form: the first `r` is
/// then the acknowledgement of the request's first frame.
[[nodiscard]] std::size_t ReplyIndexOfLongRequest(TransportForm form);

/// "/k/r" in K line form, otherwise "/can/x/r".
[[nodiscard]] std::string ReplyPath(TransportForm form);

/// `path` with an index predicate.
[[nodiscard]] std::string Indexed(const std::string& path, std::size_t index);

/// The first error mark (`e` element) that the host left in a run document; null if there is none.
[[nodiscard]] std::shared_ptr<IXMLDOMNode> FindErrorMark(const std::shared_ptr<DOMDocument>& root);

/// What is beside the first error mark: the text of its sibling `d`, or if there is none, the whole
/// element around the mark as XML. Nothing if the document has no error mark.
[[nodiscard]] std::optional<std::string> DescribeErrorMark(
    const std::shared_ptr<DOMDocument>& root);

}  // namespace quillmark
