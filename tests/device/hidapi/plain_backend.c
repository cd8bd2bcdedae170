/* The backend as it was fetched, without the gate.  Found through a system include path:
   its warnings are not ours. */

#include <linux/hid.c> // NOLINT(bugprone-suspicious-include): see above
