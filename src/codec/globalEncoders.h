#ifndef ZELVAN_GLOBALENCODERS_H_
#define ZELVAN_GLOBALENCODERS_H_

#include "BBase64Encoder.h"
#include "BSimpleEncoder.h"

// The library's encoders, built when it is loaded (in this order) and
// destroyed when it is unloaded. They are not ready during the static
// construction of other files, so nothing may use them there.
extern BSimpleEncoder kHexEncoder;      // base 16
extern BSimpleEncoder kDecimalEncoder;  // base 10
extern BBase64Encoder kBase64Encoder;

#endif  // ZELVAN_GLOBALENCODERS_H_
