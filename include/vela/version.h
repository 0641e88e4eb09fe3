/*
 * The version of the library that these headers belong to, for #if and for messages. Versions with
 * the same major number are compatible: a program runs with any later one without a new build.
 */
#ifndef VELA_VERSION_H
#define VELA_VERSION_H

#define VELA_VERSION_MAJOR 1
#define VELA_VERSION_MINOR 1
#define VELA_VERSION_PATCH 0

/* As one number, which grows with every version: 1.2.3 is 10203. */
#define VELA_VERSION_NUMBER \
    (VELA_VERSION_MAJOR * 10000 + VELA_VERSION_MINOR * 100 + VELA_VERSION_PATCH)

/* As text, "1.2.3". */
#define VELA_VERSION_TEXT \
    VELA_VERSION_TEXT_OF_(VELA_VERSION_MAJOR, VELA_VERSION_MINOR, VELA_VERSION_PATCH)
#define VELA_VERSION_TEXT_OF_(major, minor, patch) VELA_VERSION_TEXT_AS_(major, minor, patch)
#define VELA_VERSION_TEXT_AS_(major, minor, patch) #major "." #minor "." #patch

#endif
