#include "BBase64Encoder.h"
#include "BSimpleEncoder.h"

// Defined together so that they are built in this order.
BSimpleEncoder kHexEncoder(16);
BSimpleEncoder kDecimalEncoder(10);
BBase64Encoder kBase64Encoder;
