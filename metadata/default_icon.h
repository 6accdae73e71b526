// The icon metadata.json offers for an application that has none of its own:
// base64 of a 62 by 64 RGBA PNG of a plain program window.
#pragma once

extern const char kDefaultIconBase64[];
