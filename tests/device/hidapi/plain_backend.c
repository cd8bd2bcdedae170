/* The unmodified backend. It is found through a system include path,
   which silences its warnings. */

#include <linux/hid.c> // NOLINT(bugprone-suspicious-include): see above
