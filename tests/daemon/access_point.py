"""The access point of plugins/access_point.c, as the tests use it."""

from support import STARTUP_FILE, Daemon, install_plugin, lsql, read, write_config

CHECK = "<lsql><select><radio><state/></radio></select></lsql>"


def config(*instances):
    """A configuration file of these instance elements."""
    return '<?xml version="1.0"?>\n<config>' + "".join(instances) + "</config>\n"


def radio(name="r0", **values):
    values = {"state": "up", **values}
    return f'<radio name="{name}">' + elements(values) + "</radio>"


def elements(values):
    return "".join(f"<{name}>{value}</{name}>" for name, value in values.items())


def start(*instances, args=(), **others):
    """The daemon with the plug-in; the startup file holds these instances, if there are any."""
    install_plugin("access_point")
    if instances:
        write_config(config(*instances))
    return Daemon(args, **others)


def result(*parts):
    """A result document of these elements."""
    inside = "".join(parts)
    body = f"<lsql_result>{inside}</lsql_result>" if inside else "<lsql_result/>"
    return f'<?xml version="1.0"?>\n{body}\n'


def counts(rc, counter):
    return f"<rc>{rc}</rc><counter>{counter}</counter>"


def error(text, counter=0):
    return f"<error>{text}</error>" + counts(1, counter)


def dataset(*instances):
    return "<dataset>" + "".join(instances) + "</dataset>" if instances else "<dataset/>"


def select(class_element):
    return f"<lsql><select>{class_element}</select></lsql>"


def commits():
    """The commits so far, each as the provider wrote it down."""
    return read("/tmp/commits").splitlines()


def startup():
    return read(STARTUP_FILE)


def assert_answers(expected=None):
    """The daemon takes requests."""
    answer = lsql(CHECK)
    assert answer.startswith('<?xml version="1.0"?>\n<lsql_result>') and "<rc>0</rc>" in answer
    assert expected is None or answer == expected
