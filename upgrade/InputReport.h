#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// One input report of the microphone and what it means (docs/protocol.md). Bytes that are
/// not named here are not interpreted.
class InputReport
{
public:
    /// Bytes of a report as read from the device.
    static constexpr std::size_t size = 64;
    using Bytes = std::array<std::uint8_t, size>;

    enum class Kind
    {
        /// Byte 8 is the device's upgrade state.
        DfuState,
        /// Bytes 8 and 9 are the model code.
        ModelCode,
        /// Anything else, parameter reports included.
        Parameter
    };

    /// What an upgrade status report says. The values are the argument of
    /// DevOperator::tb210_break_fail_mess().
    enum class Verdict
    {
        None = 0,
        Failed = 1,
        Succeeded = 2
    };

    InputReport() = default;
    explicit InputReport(const Bytes &reportBytes)
        : bytes(reportBytes)
    {
    }

    const Bytes &raw() const { return bytes; }
    std::uint8_t *data() { return bytes.data(); }

    std::uint8_t group() const { return bytes[groupOffset]; }
    std::uint8_t kindByte() const { return bytes[kindOffset]; }
    /// Status code of a status report, otherwise the sub-kind.
    std::uint8_t subKind() const { return bytes[subKindOffset]; }
    /// Flag of a status report, first model-code byte, or upgrade state.
    std::uint8_t value() const { return bytes[valueOffset]; }
    std::uint8_t secondValue() const { return bytes[secondValueOffset]; }

    bool isUpgradeStatus() const { return bytes[classOffset] == statusClass; }

    /// None for any other status, and for reports that are not status reports: the upgrade
    /// goes on.
    Verdict verdict() const
    {
        if (!isUpgradeStatus())
            return Verdict::None;
        const std::uint8_t code = subKind();
        if (value() == failureFlag || code == failureCode || code == otherFailureCode)
            return Verdict::Failed;
        if (code == successCode || code == otherSuccessCode)
            return Verdict::Succeeded;
        return Verdict::None;
    }

    /// Independent of the verdict: a status report has a kind, too.
    Kind kind() const
    {
        if (kindByte() == dfuStateKind)
            return subKind() == dfuStateSubKind ? Kind::DfuState : Kind::Parameter;
        if (kindByte() <= lastModelCodeKind && subKind() == 0 && isParameterGroup())
            return Kind::ModelCode;
        return Kind::Parameter;
    }

    bool isLastModelCode() const { return kindByte() == lastModelCodeKind; }
    bool isParameterGroup() const { return group() == parameterGroup; }
    bool isStored() const { return isParameterGroup() && kindByte() != unstoredKind; }
    bool replacesFirst() const { return kindByte() == firstParameterKind; }
    bool startsParameterSet() const { return replacesFirst() && subKind() == firstParameterSub; }
    bool endsMainValues() const { return isParameterGroup() && kindByte() == mainValuesEndKind; }

private:
    static constexpr std::size_t classOffset = 4;
    static constexpr std::size_t groupOffset = 5;
    static constexpr std::size_t kindOffset = 6;
    static constexpr std::size_t subKindOffset = 7;
    static constexpr std::size_t valueOffset = 8;
    static constexpr std::size_t secondValueOffset = 9;

    static constexpr std::uint8_t statusClass = 0x0B;
    static constexpr std::uint8_t failureFlag = 1;
    static constexpr std::uint8_t failureCode = 2;
    static constexpr std::uint8_t otherFailureCode = 4;
    static constexpr std::uint8_t successCode = 5;
    static constexpr std::uint8_t otherSuccessCode = 6;
    static constexpr std::uint8_t dfuStateKind = 8;
    static constexpr std::uint8_t dfuStateSubKind = 0x10;
    static constexpr std::uint8_t lastModelCodeKind = 2;
    static constexpr std::uint8_t parameterGroup = 4;
    static constexpr std::uint8_t unstoredKind = 0x34;
    static constexpr std::uint8_t firstParameterKind = 0x22;
    static constexpr std::uint8_t firstParameterSub = 0x20;
    static constexpr std::uint8_t mainValuesEndKind = 0x12;

    Bytes bytes{};
};

static_assert(sizeof(InputReport) == InputReport::size);
