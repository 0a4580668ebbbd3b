import sys

import checks

sys.exit(checks.main(sys.argv[1:]))
