#pragma once

#include "tests/endtoend/Transport.h"

/// The HID library itself, on simulated hidraw nodes.
class UmockdevTransport : public Transport
{
public:
    QStringList command() const override;
    void prepare(QProcessEnvironment * /*environment*/) const override {}
    QString resultFile(const QString &home) const override;
    QByteArray lineEnd() const override { return "\n"; }
    bool offers(const Scenario &scenario) const override;
};
