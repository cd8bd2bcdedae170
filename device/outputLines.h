#pragma once

/// How lines of the debug output begin that launching applications go by
/// (docs/integration.md).  Their texts stay as they are, byte for byte; the debug stream puts a
/// blank between a word and what follows it.
///
/// Here, because every room above writes or reads them.
namespace outputLine {

/// The updater is the only one and goes to work.  The whole line.
constexpr const char *begun = "createUI----";
/// Lengths of a packet and a report of the microphone that was opened.
constexpr const char *opened = "xxxxx";
/// A packet of the image, before the first one goes out.  There is none of packet 0.
constexpr const char *packetReady = "jjjjjjjsend_message";
/// A packet that goes out; it may be told more than once.
constexpr const char *packetSent = "dfuxxx------";
/// The second word, behind the packets that are left: the transfer is over, and the number
/// of packets that it came to follows.
constexpr const char *transferOver = "ggg";
/// A status report of the microphone, its bytes in hexadecimal.
constexpr const char *status = "qqqq";
/// The image is damaged.
constexpr const char *refused = "firmware refused:";
/// A message box's text where nobody could see the box: the image cannot be opened.
constexpr const char *box = "Title";

} // namespace outputLine
