#pragma once

#include "tests/endtoend/Transport.h"

/// A USB bus of this machine's own kernel, behind the real HID library.  Takes root and
/// the kernel's modules: scripts/test-kernel has a machine with both.
class GadgetTransport : public Transport
{
public:
    QStringList command() const override;
    void prepare(QProcessEnvironment * /*environment*/) const override {}
    QString resultFile(const QString &home) const override;
    QByteArray lineEnd() const override { return "\n"; }
    bool offers(const Scenario &scenario) const override;
};
