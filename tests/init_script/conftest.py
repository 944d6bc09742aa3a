import pytest

pytest.register_assert_rewrite("support")

from support import fresh_system, pytest_runtest_makereport  # noqa: E402, F401
