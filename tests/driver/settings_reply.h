#pragma once

#include "tests/fixtures/bytes.h"

// The blocks of a reply to a request for all settings.
inline const QByteArray kBaud = bytes::code(7) + bytes::u32(115200);
inline const QByteArray kRate = bytes::code(8) + bytes::u16(200);
inline const QByteArray kOutputs = bytes::code(9) + bytes::u16(0x0067);
inline const QByteArray kVersions = bytes::code(16) + bytes::u16(0x0102) + bytes::u16(0x0304);
inline const QByteArray kSerial = bytes::code(17) + bytes::u32(4711);
