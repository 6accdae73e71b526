// Made by tools/make-default-icon; run it again to change the picture.
#include "metadata/default_icon.h"

const char kDefaultIconBase64[] =
    "iVBORw0KGgoAAAANSUhEUgAAAD4AAABACAYAAABC6cT1AAAApklEQVR42u3bsQmEQBAFUOu7FuSquALsxhqMjS3nEDNNRYXT"
    "w8CdeR9+tslbmMFgrSoREUmQ1/szR2g68OULWB+um7bonoZHQl/CR0Nv8aHg33HaFRwc3HIDBw/cn/CjhVFywcHBwcHBV+36"
    "4XEFBzfj4ODgBS03cHAzDg4OHuxbHRzcjIODgz98uYGDm3FwcPCb4JHwf71gToNO/VA/7a8ZIiJScBYdBQ1QnCApWgAAAABJ"
    "RU5ErkJggg==";
