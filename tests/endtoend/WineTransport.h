#pragma once

#include "tests/endtoend/Transport.h"

/// The Windows program under wine, with the HID library itself on simulated devices.  All
/// runs share one prefix, so they come one after the other; the environment says where
/// things are:
///   VELMO_WINDOWS_PROGRAM   path of Velmo_KVX2_DFU.exe
///   WINEPREFIX              or VELMO_WINE_PREFIX, and what else velmo-sim-wine needs
class WineTransport : public Transport
{
public:
    WineTransport();

    QStringList command() const override;
    QStringList secondCommand() const override;
    void prepare(QProcessEnvironment *environment) const override;
    QString resultFile(const QString &home) const override;
    void clean() const override;

private:
    QString program;
    QString prefix;
};
