#pragma once

#include "tessel/platform/picture.h"

#include <string_view>

/// The decoders outside Windows. Each takes a whole image file that `IsReasonableImage` has let
/// through, and answers false when it cannot make a picture of it; `pixels` is then undefined.
namespace platform {

/// PNG, by libpng. A file that is cut or whose checksums are wrong gives no picture. Colours of
/// another gamma than that of sRGB are converted to it.
bool DecodePng(std::string_view bytes, CPixels* pixels);

/// JPEG, by libjpeg-turbo. A file that is cut gives what is there of it.
bool DecodeJpeg(std::string_view bytes, CPixels* pixels);

/// Any other format, by gdk-pixbuf, which is loaded with the first call: it costs more than all the
/// rest of a thumbnail. False when this system does not have it.
/// @param decoder  gdk-pixbuf's name for the format
bool DecodeByPixbuf(std::string_view bytes, const char* decoder, CPixels* pixels);

/// Turns pixels of four bytes (the last is the opacity, 255 opaque) into those of `CPixels`, laid over
/// black.
void LayOverBlack(std::vector<std::uint8_t>& pixels);

}  // namespace platform
