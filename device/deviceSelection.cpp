#include "device/deviceSelection.h"

#include <utility>

std::atomic<bool> g_selPlain{false};
std::atomic<bool> g_selR5{false};
std::atomic<bool> g_selR5Otg{false};
std::atomic<bool> g_otgAltPid{false};
std::atomic<int> g_activeModelCode{0};

Microphone microphoneFor(const QString &firmwarePath)
{
    if (!firmwarePath.contains(QLatin1String("R5")))
        return Microphone::Plain;
    return firmwarePath.contains(QLatin1String("otg")) ? Microphone::R5Otg : Microphone::R5;
}

QVector<std::uint16_t> productIdsOf(Microphone microphone)
{
    switch (microphone) {
    case Microphone::R5:
        return {r5ProductId};
    case Microphone::R5Otg:
        return {r5OtgProductId, r5OtgAltProductId};
    case Microphone::Plain:
        break;
    }
    return {plainProductId};
}

QString pathRuleOf(std::uint16_t productId)
{
    using Rule = std::pair<Microphone, const char *>;
    for (const auto &[microphone, text] : {Rule{Microphone::Plain, "without \"R5\""},
                                           Rule{Microphone::R5, "with \"R5\" but not \"otg\""},
                                           Rule{Microphone::R5Otg, "with \"R5\" and \"otg\""}}) {
        if (productIdsOf(microphone).contains(productId))
            return QString::fromLatin1(text);
    }
    return {};
}

void selectMicrophoneFor(const QString &firmwarePath)
{
    const Microphone microphone = microphoneFor(firmwarePath);
    g_selPlain = microphone == Microphone::Plain;
    g_selR5 = microphone == Microphone::R5;
    g_selR5Otg = microphone == Microphone::R5Otg;
}
