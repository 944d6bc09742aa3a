import pytest

from debian import System


@pytest.fixture
def minimal(tmp_path):
    """A system that holds what every Debian system holds."""
    system = System("minimal", tmp_path)
    yield system
    system.remove()


@pytest.fixture
def equipped(tmp_path):
    """The same with what builds plug-ins and runs the demo."""
    system = System("equipped", tmp_path)
    yield system
    system.remove()
