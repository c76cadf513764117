/* quvclr: colour conversion and ICC profiles. The one header to include. */
#ifndef QUVCLR_H
#define QUVCLR_H

#include "common.h"
#include "status.h"
#include "conversion.h"
#include "bitmap.h"
#include "profile.h"
#include "tags.h"
#include "imagefile.h"
#include "dialogs.h"

#endif
