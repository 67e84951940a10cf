"""Lets chosen system calls of a program fail. The kernel asks here about every call that touches the program's folder
or the resolver file, so those that the C library and the loader make on their own count as well. Commands that the
program starts are let through. Knows the numbers of x86-64 Linux."""
import contextlib
import ctypes
import errno
import fcntl
import os
import select
import signal
import struct
import threading

RESOLVER_FILE = "/etc/resolv.conf"
RESOLVER_PATHS = (RESOLVER_FILE, os.path.realpath(RESOLVER_FILE))  # to the program, and to the kernel
SHORT = 0  # instead of an error: half of what is to be written is written
PATH, FILE, POLLED, ALWAYS = range(4)  # what the argument tells of the file that the call is about

# Number, argument and its kind, and how the call can fail.
CALLS = {
    "read": (0, 0, FILE, (errno.EIO, errno.EINTR)),
    "write": (1, 0, FILE, (errno.ENOSPC, SHORT, errno.EIO, errno.EINTR)),
    "open": (2, 0, PATH, (errno.EMFILE, errno.EACCES, errno.EINTR)),
    "close": (3, 0, FILE, (errno.EIO,)),
    "stat": (4, 0, PATH, (errno.EACCES,)),
    "fstat": (5, 0, FILE, (errno.EIO,)),
    "lstat": (6, 0, PATH, (errno.EACCES,)),
    "poll": (7, 0, POLLED, (errno.EINTR,)),
    "lseek": (8, 0, FILE, (errno.EIO,)),
    "mmap": (9, 4, FILE, (errno.ENOMEM,)),
    "ioctl": (16, 0, FILE, (errno.EIO,)),
    "pread64": (17, 0, FILE, (errno.EIO,)),
    "access": (21, 0, PATH, (errno.EACCES,)),
    "fcntl": (72, 0, FILE, (errno.EINTR,)),
    "fsync": (74, 0, FILE, (errno.EIO, errno.ENOSPC)),
    "fdatasync": (75, 0, FILE, (errno.EIO, errno.ENOSPC)),
    "ftruncate": (77, 0, FILE, (errno.EIO,)),
    "getcwd": (79, 0, ALWAYS, (errno.EACCES,)),
    "rename": (82, 0, PATH, (errno.EACCES, errno.ENOSPC, errno.EIO)),
    "mkdir": (83, 0, PATH, (errno.ENOSPC,)),
    "unlink": (87, 0, PATH, (errno.EACCES, errno.EIO)),
    "readlink": (89, 0, PATH, (errno.EIO,)),
    "chmod": (90, 0, PATH, (errno.EPERM,)),
    "fchmod": (91, 0, FILE, (errno.EPERM,)),
    "fchown": (93, 0, FILE, (errno.EPERM,)),
    "mknod": (133, 0, PATH, (errno.ENOSPC, errno.EACCES)),
    "getdents64": (217, 0, FILE, (errno.EIO,)),
    "openat": (257, 1, PATH, (errno.EMFILE, errno.EACCES, errno.EINTR, errno.ENOSPC)),
    "mknodat": (259, 1, PATH, (errno.ENOSPC, errno.EACCES)),
    "newfstatat": (262, 1, PATH, (errno.EACCES,)),
    "clone3": (435, 0, ALWAYS, (errno.EAGAIN,)),
}
NAMES = {row[0]: name for name, row in CALLS.items()}
FIFO_ERRORS = {"write": (SHORT, errno.EINTR)}  # no FIFO reports more than these

PR_SET_NO_NEW_PRIVS, SYS_SECCOMP, SYS_PIDFD_GETFD = 38, 317, 438
SET_MODE_FILTER, NEW_LISTENER, CONTINUE = 1, 8, 1
RECEIVE, SEND = 0xC0502100, 0xC0182101  # ioctls of the listener
QUESTION = "QIIiIQ6Q"  # identity, thread, flags, call, architecture, address, arguments
ANSWER = "QqiI"  # identity, value, error, flags
COMMAND_SECONDS = 30  # for a command that outlives the program; they take milliseconds
libc = ctypes.CDLL(None, use_errno=True)


def install_filter():
    """In the program's process: from now on the kernel asks. Returns when somebody answers."""
    load, jump, give = 0x20, 0x15, 0x06
    lines = [(load, 0, 0, 0)]
    for place, number in enumerate(NAMES):
        lines.append((jump, len(NAMES) - place, 0, number))
    lines += [(give, 0, 0, 0x7FFF0000), (give, 0, 0, 0x7FC00000)]  # allow; ask
    code = ctypes.create_string_buffer(b"".join(struct.pack("HBBI", *line) for line in lines))
    program = ctypes.create_string_buffer(struct.pack("HxxxxxxQ", len(lines), ctypes.addressof(code)))
    libc.prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0)
    if libc.syscall(SYS_SECCOMP, SET_MODE_FILTER, NEW_LISTENER, program) < 0:
        os._exit(99)
    os.access("/", os.F_OK)


def descriptor_of(process, number):
    owner = os.pidfd_open(process)
    try:
        return libc.syscall(SYS_PIDFD_GETFD, owner, number, 0)
    finally:
        os.close(owner)


class Judge:
    """Starts a program whose calls of `name` (None: of any) from the `first` on fail, `count` of them; `choice` is
    which of the errors that such a call has. The call number `kill_at` is the last one. `calls` lists what was seen,
    `failed` what went wrong."""

    def __init__(self, command, folder, environment, output, name=None, first=0, count=1, choice=0, kill_at=0,
                 limits=()):
        self.folder, self.name, self.range, self.choice = folder, name, range(first, first + count), choice
        self.calls, self.failed, self.seen, self.kill_at = [], [], 0, kill_at
        self.process = os.fork()
        if self.process == 0:
            self.become(command, environment, output, limits)
        self.listener = self.find_listener()
        self.thread = threading.Thread(target=self.answer_to_the_end)
        self.thread.start()

    def become(self, command, environment, output, limits):
        os.setpgid(0, 0)  # its commands can be told from everybody else's
        os.chdir(self.folder)
        for target, source in ((0, os.open("/dev/null", os.O_RDONLY)), (1, output), (2, output)):
            os.dup2(source, target)
        os.closerange(3, 256)
        for setter, arguments in limits:
            setter(*arguments)
        install_filter()
        os.execve(command[0], command, environment)

    def find_listener(self):
        listing = "/proc/%d/fd" % self.process
        while True:
            if os.waitid(os.P_PID, self.process, os.WEXITED | os.WNOHANG | os.WNOWAIT):
                raise RuntimeError("the program could not be watched: does this kernel let its calls be judged here?")
            for number in os.listdir(listing):
                try:
                    if "seccomp" in os.readlink(os.path.join(listing, number)):
                        return descriptor_of(self.process, int(number))
                except FileNotFoundError:
                    pass

    def pardon(self):
        """Nothing fails any more."""
        self.range, self.kill_at = range(0), 0

    def end(self):
        """Once the program has ended, with all that it started. A signal that comes while the kernel asks about a
        `close` has a shell go on without it: some then read from a pipe that they hold themselves."""
        self.thread.join(COMMAND_SECONDS)
        if self.thread.is_alive():
            with contextlib.suppress(ProcessLookupError):  # it may end by itself
                os.killpg(self.process, signal.SIGKILL)
        self.thread.join()

    def answer_to_the_end(self):
        watcher = select.poll()
        watcher.register(self.listener, select.POLLIN)
        while not watcher.poll()[0][1] & select.POLLHUP:
            try:
                question = bytearray(80)
                fcntl.ioctl(self.listener, RECEIVE, question)
                answer = self.judge(*struct.unpack(QUESTION, question))
                fcntl.ioctl(self.listener, SEND, answer)
            except OSError:
                pass  # whoever asked was killed
        os.close(self.listener)

    def judge(self, identity, thread, _flags, number, _architecture, _address, *arguments):
        go_on = struct.pack(ANSWER, identity, 0, 0, CONTINUE)
        name = NAMES[number]
        if not os.path.exists("/proc/%d/task/%d" % (self.process, thread)):
            return go_on
        what = self.describe(name, arguments)
        if what is None or self.name not in (None, name):
            return go_on
        self.seen += 1
        self.calls.append((name, what))
        if self.seen == self.kill_at:
            self.failed.append("%s %s: killed" % (name, what))
            os.kill(self.process, signal.SIGKILL)
        if self.seen not in self.range:
            return go_on
        error = errors_of(name, what)[self.choice % len(errors_of(name, what))]
        self.failed.append("%s %s: %s" % (name, what, errno.errorcode.get(error, "short")))
        value = self.write_half(*arguments) if error == SHORT else 0
        return struct.pack(ANSWER, identity, value, -error, 0)

    def describe(self, name, arguments):
        """What the call is about; None when that is none of the files that matter."""
        _, place, how, _ = CALLS[name]
        path, descriptor = "", ctypes.c_int(arguments[place] & 0xFFFFFFFF).value
        if how == ALWAYS:
            return "-"
        if how == PATH:
            path = self.read(arguments[place], 4096).split(b"\0")[0].decode(errors="replace")
            descriptor = ctypes.c_int(arguments[0] & 0xFFFFFFFF).value
        elif how == POLLED:
            descriptor = int.from_bytes(self.read(arguments[0], 4), "little")
        if path and not path.startswith("/"):
            path = os.path.join(self.folder, path)
        try:
            path = path or os.readlink("/proc/%d/fd/%d" % (self.process, descriptor))
        except OSError:
            return None
        if path in RESOLVER_PATHS:
            return os.path.basename(RESOLVER_FILE)
        inside = path.startswith(self.folder + "/") and not path.startswith(self.folder + "/Log")
        return os.path.basename(path) if inside or path == self.folder else None

    def read(self, address, size):
        try:
            with open("/proc/%d/mem" % self.process, "rb", buffering=0) as memory:
                memory.seek(address)
                return memory.read(size)
        except OSError:
            return b""

    def write_half(self, descriptor, address, size, *_):
        file = descriptor_of(self.process, descriptor)
        try:
            return os.write(file, self.read(address, (size + 1) // 2))
        finally:
            os.close(file)


def errors_of(name, what):
    fifo = FIFO_ERRORS.get(name) if what.endswith("pipe") else None
    return fifo or CALLS[name][3]
