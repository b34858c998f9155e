"""pressControl PID KIND NAME: presses one control of a running program, as somebody who cannot see would."""
import sys

import a11y

a11y.Panel(int(sys.argv[1])).press(sys.argv[2], sys.argv[3])
