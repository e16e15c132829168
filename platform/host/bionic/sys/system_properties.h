// Host stand-in for bionic's <sys/system_properties.h>, of which the
// platform's cutils/properties.h takes the two limits of a property. Only
// the host build of Android.bp (Android.host.bp) includes it; the values
// are bionic's.
#pragma once

#define PROP_NAME_MAX 32
#define PROP_VALUE_MAX 92
