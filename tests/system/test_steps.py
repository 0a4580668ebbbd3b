"""The demonstration's steps, each in a chassis of its own."""

import unittest

from case import in_chassis  # noqa: I001 (puts demo/ on the path)
import steps


class Steps(unittest.TestCase):
    pass


for number, step in enumerate(steps.STEPS, 1):
    def body(self, step=step):
        step()
    body.__name__ = body.__qualname__ = f"test_{number}_{step.__name__}"
    body.__doc__ = step.__doc__
    setattr(Steps, body.__name__, in_chassis()(body))
del number, step, body


if __name__ == "__main__":
    unittest.main()
