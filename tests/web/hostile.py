"""Daemons for the page: what they answer is chosen by `mood`, which a test may change at any time."""
import pathlib
import sys
import threading

sys.path.insert(0, str(pathlib.Path(__file__).parents[1] / "schema"))
import records as wire  # noqa: E402
from appliance import Appliance, Reply  # noqa: E402

NOW = 1700000000
MARKUP = '<img src=x onerror="hit=1">'
SHORT = "<b>x</b>"
TURNED = "a\u202egnp.exe"
LONG = "<script>hit=1</script>" + "W" * 3778  # 3,800 characters in one word


def sessions():
    def one(i, host):
        return wire.session(0x0A000001 + i, 0x0A000101, host=host.encode(), texts=(b"GET", b"a b c", b"x"), up=10 * i, down=5,
                            birth=NOW, dport=80, location=b"<i>here</i>")
    return [one(0, MARKUP), one(1, SHORT), one(2, TURNED), one(3, 'x","y":"'), one(4, "../?a=b&c=d")]


ANSWERS = {
    b"flow": sessions,
    b"obsbussflow": sessions,
    b"malc": lambda: [wire.malicious(NOW - i, 0x0A000001, 0x0A000002, 1 + i, name.encode(), SHORT.encode(), b"<i>")
                      for i, name in enumerate([MARKUP, TURNED, "__proto__"])],
    b"nevt_log": lambda: [wire.occurrence(0, {name: SHORT.encode() for name in (
        "evtype", "evattr", "failure", "evopcode", "evlimit1", "evlimit2", "fval", "lval", "robj", "robj_ch", "insname",
        "insname_ch")}, NOW, 2 | 3 << 2)],
    b"kesidslog": lambda: [wire.alert(NOW, text.encode()) for text in (
        LONG, '{"sid":"<img src=x onerror=hit=1>","msg":{"__proto__":[null]},"src":7}', "null", "[1]", '{"time":"x"}')],
    b"obstopogrp": lambda: [wire.group(i, i - 1, SHORT.encode()) for i in range(1, 200)],
    b"obshost": lambda: [wire.host(NOW, name.encode(), 0x0A000001, (80, 0, 0, 0, 0, 0), (1, 2, 3, 4, 5, 6), MARKUP[:23].encode())
                         for name in (MARKUP, TURNED, "a 2024-01-01/00:00:00 1 2 3 b")],
    b"assetsobj": lambda: [wire.asset(1, 1, 1, 1, MARKUP.encode(), SHORT.encode(), flows=1)],
}


class Hostile(Appliance):
    def __init__(self, dictionary):
        super().__init__(dictionary, [("/conf/kestrel.conf", b"")])
        self.mood = "hostile"
        self.go_on = threading.Event()
        self.script = self.answer

    def answer(self, request):
        if self.mood == "slow":
            self.go_on.wait(30)
            return Reply()
        if self.mood == "broken":
            return Reply(error=7, text=b"<b>DAEMON_BROKEN</b>")
        if request.daemon == "chart":
            if self.mood == "empty":
                return Reply(wire.chart([], []), 0)
            names = [MARKUP.encode(), b"__proto__", b"constructor", b"</script><script>hit=1</script>"[:31]]
            return Reply(wire.chart([(name, name, [1, 2, 3]) for name in names], [NOW, NOW + 300, NOW + 600]), 0)
        rows = [] if self.mood == "empty" else ANSWERS.get(bytes(request.module), list)()
        if self.mood == "halfway":
            if request.cursor > 0:
                return Reply(error=7, text=b"DAEMON_LEFT")
            return Reply(b"".join(rows), len(rows), length=0, last=False)
        return Reply(b"".join(rows), len(rows), length=0)
