#pragma once

/// Prefixes of the debug output lines that launching applications parse
/// (docs/integration.md). They must not change by a byte. The debug stream puts a blank after
/// each of them.
namespace outputLine {

/// No other updater is running and this one starts its work. This is the whole line.
constexpr const char *begun = "createUI----";
/// The updater looks for a microphone, so the result file has been emptied. The USB ids of the
/// first supported device follow.
constexpr const char *searching = "kkkhhhhxxxxx";
/// A result is about to be written to the result file, which was emptied before. The file's
/// path follows.
constexpr const char *resultFile = "file_ssss:";
/// A microphone was opened. The lengths of a control frame and of an input report follow.
constexpr const char *opened = "xxxxx";
/// A packet of the image, written before the transfer. Packet 0 has no such line.
constexpr const char *packetReady = "jjjjjjjsend_message";
/// A packet that is sent. A packet may have several such lines.
constexpr const char *packetSent = "dfuxxx------";
/// The transfer is over. This is the second word of its line, after the number of packets
/// left. The number of packets sent follows.
constexpr const char *transferOver = "ggg";
/// A status report of the microphone; its bytes follow in hexadecimal.
constexpr const char *status = "qqqq";
/// The image is damaged; the reason follows.
constexpr const char *refused = "firmware refused:";
/// The text of a message box that nobody can see: the image cannot be opened.
constexpr const char *box = "Title";

} // namespace outputLine
