#pragma once

#include <QString>
#include <QVector>

#include <atomic>
#include <cstdint>

/// USB vendor id of the microphones.
constexpr std::uint16_t microphoneVendorId = 0x3C9E;
/// Product ids of the microphones that take firmware.
constexpr std::uint16_t plainProductId = 0x000B;
constexpr std::uint16_t r5ProductId = 0x0010;
constexpr std::uint16_t r5OtgProductId = 0x0011;
constexpr std::uint16_t r5OtgAltProductId = 0x0065;

/// The microphones that a firmware path can select.
enum class Microphone
{
    Plain,
    R5,
    R5Otg
};

/// The rule by which a firmware path selects a microphone. It looks for "R5" and "otg" in
/// the whole path, not only in the file name. Letter case counts.
Microphone microphoneFor(const QString &firmwarePath);
/// The product ids that this microphone can have. The device that is listed first wins.
QVector<std::uint16_t> productIdsOf(Microphone microphone);
/// That rule for the user: which paths select this product id, such as `without "R5"`. Empty: none.
QString pathRuleOf(std::uint16_t productId);

/// Which microphone this process updates. The window sets these flags once from the
/// firmware path, before any search. Exactly one of them is true from then on.
///
/// Written by the main thread (window); read by the main thread (device search) and the
/// operator thread (transfer).
extern std::atomic<bool> g_selPlain;
extern std::atomic<bool> g_selR5;
extern std::atomic<bool> g_selR5Otg;

/// Set by the device search for an R5 otg image if the microphone has product id 0x0065.
/// It is then in upgrade mode already and gets no packet 0. Written by the
/// main thread (device search), read by the operator thread (transfer).
extern std::atomic<bool> g_otgAltPid;

/// CHidBase::isOpen() compares it with the open device's vendor id. The updater never
/// sets it, so it is always 0.
extern std::atomic<int> g_activeModelCode;

/// Sets the three selection flags from microphoneFor().
void selectMicrophoneFor(const QString &firmwarePath);
