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

/// The microphones that a firmware path can mean.
enum class Microphone
{
    Plain,
    R5,
    R5Otg
};

/// The one rule by which a path means a microphone.  The whole path, not only the file's
/// name, is searched for "R5" and "otg"; letter case counts.
Microphone microphoneFor(const QString &firmwarePath);
/// The product ids under which it is found; the device that is listed first wins.
QVector<std::uint16_t> productIdsOf(Microphone microphone);

/// Which microphone this process updates.  The window derives it once from the
/// firmware path, before any search; exactly one of the first three is true from
/// then on.
///
/// Written by the main thread (window, device search); read by the main thread
/// (device search) and the operator thread (transfer).
extern std::atomic<bool> g_selPlain;
extern std::atomic<bool> g_selR5;
extern std::atomic<bool> g_selR5Otg;

/// Set by the device search for an R5 otg image: the microphone was found under
/// product id 0x0065, so it is in its upgrade mode already and gets no packet 0.
extern std::atomic<bool> g_otgAltPid;

/// Compared with the open device's vendor id by CHidBase::isOpen().  The updater
/// never sets it, so it stays 0; see there.
extern std::atomic<int> g_activeModelCode;

/// Sets the three selection flags by microphoneFor().
void selectMicrophoneFor(const QString &firmwarePath);
