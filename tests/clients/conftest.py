from support import fresh_system, pytest_runtest_makereport  # noqa: F401
