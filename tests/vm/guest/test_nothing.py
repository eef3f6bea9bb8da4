"""The values of the interface that have no effect."""

from machine import CommandTest, line

UNKNOWN = line("executeCommand", "unknown", 164, tag="dbs")


class Unknown(CommandTest):
    command = "UNKNOWN"

    def test_logs_unknown(self):
        self.expect([], UNKNOWN)
        self.expect(["one", "two words", ""], UNKNOWN)


class SmartnicInit(CommandTest):
    command = "SMARTNIC_INIT"

    def test_logs_unknown(self):
        self.expect(["read"], UNKNOWN)


class InitFrontded(CommandTest):
    command = "INIT_FRONTDED"

    def test_logs_unknown(self):
        self.expect([], UNKNOWN)


class InitFlopUsbNic(CommandTest):
    command = "INIT_FLOP_USB_NIC"

    def test_logs_unknown(self):
        self.expect([], UNKNOWN)


class Ip4DadStart(CommandTest):
    command = "IP4_DAD_START"

    def test_is_accepted_and_does_nothing(self):
        self.expect(["eth0"])


class Terminate(CommandTest):
    command = "TERMINATE"

    def test_does_not_stop_the_daemon(self):
        self.expect([])
        self.expect(["now"])
