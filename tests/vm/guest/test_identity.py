"""Host name, domain name, hosts file."""

import os
import socket

from machine import CommandTest, line, read, set_value, write

HOSTNAME = "/proc/sys/kernel/hostname"
DOMAINNAME = "/proc/sys/kernel/domainname"


class SetHostname(CommandTest):
    command = "SET_HOSTNAME"

    def setUp(self):
        self.addCleanup(set_value, HOSTNAME, read(HOSTNAME))

    def test_sets_the_machines_name(self):
        self.expect(["bmc-1"], line("set_host_name", "setting hostname:bmc-1 rc=0"))
        self.assertEqual(socket.gethostname(), "bmc-1")

    def test_name_of_64_bytes_and_of_65(self):
        self.expect(["n" * 64], line("set_host_name", f"setting hostname:{'n' * 64} rc=0"))
        self.assertEqual(read(HOSTNAME), "n" * 64)
        self.expect(["m" * 65], line("set_host_name", f"setting hostname:{'m' * 65} rc=-1"))
        self.assertEqual(read(HOSTNAME), "n" * 64)

    def test_refuses_two_names(self):
        before = read(HOSTNAME)
        self.expect(["a", "b"], line("set_host_name", "ERROR - invalid parm list"))
        self.assertEqual(read(HOSTNAME), before)


class SetDomainname(CommandTest):
    command = "SET_DOMAINNAME"

    def setUp(self):
        self.addCleanup(set_value, DOMAINNAME, read(DOMAINNAME))

    def test_sets_the_machines_domain(self):
        self.expect(["example.net"],
                    line("set_domain_name", "setting domainname:example.net rc=0"))
        self.assertEqual(read(DOMAINNAME), "example.net")

    def test_refuses_a_shell_character(self):
        before = read(DOMAINNAME)
        self.expect(["a;b"], line("set_domain_name", "ERROR - invalid parm list"))
        self.assertEqual(read(DOMAINNAME), before)


class UpdateHostsFile(CommandTest):
    command = "UPDATE_HOSTS_FILE"

    CONTENT = ("# Do not remove the following line, or various programs\n"
               "# that require network functionality will fail.\n"
               "127.0.0.1\tlocalhost wpcm450\n"
               "127.0.0.1\t{}\n")

    def content(self):
        with open("/etc/hosts") as file:
            return file.read()

    def test_rewrites_the_file_in_place(self):
        write("/etc/hosts", "192.0.2.1 former\n")
        inode = os.stat("/etc/hosts").st_ino
        for _ in range(2):
            self.expect(["bmc-1"])
            self.assertEqual(self.content(), self.CONTENT.format("bmc-1"))
        self.assertEqual(os.stat("/etc/hosts").st_ino, inode)
        self.assertEqual(socket.gethostbyname("bmc-1"), "127.0.0.1")

    def test_file_that_was_replaced_or_removed_meanwhile(self):
        write("/etc/hosts.new", "192.0.2.1 replaced\n")
        os.rename("/etc/hosts.new", "/etc/hosts")
        self.call("bmc-2")
        self.assertEqual(self.content(), self.CONTENT.format("bmc-2"))
        os.remove("/etc/hosts")
        self.call("bmc-3")
        self.assertEqual(self.content(), self.CONTENT.format("bmc-3"))
        self.assertEqual(os.stat("/etc/hosts").st_mode & 0o777, 0o644)

    def test_refuses_a_blank(self):
        self.expect(["a b"], line("update_hosts_file", "ERROR - invalid parm list"))
