# SPDX-License-Identifier: BSD-2-Clause
"""A Slurm of two nodes on this machine, with authentication, ports and files of its own."""
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import time

TIMEOUT = 60  # seconds after which a state counts as never reached
PROGRAMS = ("slurmctld", "slurmd", "sbatch", "scontrol", "scancel", "squeue", "munged")
NODES = ("n1", "n2")
CONFIGURATION = """
ClusterName=test
SlurmctldHost={host}(127.0.0.1)
AuthType=auth/munge
AuthInfo=socket={folder}/munge.socket,cred_expire=5
SlurmUser=root
SlurmdUser=root
StateSaveLocation={folder}/state
SlurmdSpoolDir={folder}/spool/%n
SlurmctldPidFile={folder}/controller.pid
SlurmdPidFile={folder}/%n.pid
SlurmctldLogFile={folder}/controller.log
SlurmdLogFile={folder}/%n.log
SlurmctldPort={controller_port}
MaxArraySize={max_array_size}
ProctrackType=proctrack/pgid
TaskPlugin=task/none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
SchedulerParameters=sched_interval=1,sched_min_interval=0,bf_interval=1
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
MpiDefault=none
SwitchType=switch/none
ReturnToService=2
KillWait=1
UnkillableStepTimeout=10
CompleteWait=0
MessageTimeout=30
NodeName=n1 NodeHostname={host} NodeAddr=127.0.0.1 Port={ports[0]} CPUs=1 RealMemory=1000
NodeName=n2 NodeHostname={host} NodeAddr=127.0.0.1 Port={ports[1]} CPUs=1 RealMemory=1000
PartitionName=all Nodes=ALL Default=YES MaxTime=INFINITE State=UP
PartitionName=second Nodes=n2 MaxTime=INFINITE State=UP
"""


def why_not():
    """Returns why no Slurm can be started here; None if it can."""
    if os.geteuid() != 0:
        return "only root can start a Slurm of several nodes"
    missing = [name for name in PROGRAMS if not shutil.which(name)]
    return f"these programs are missing: {' '.join(missing)}" if missing else None


def free_ports(count):
    sockets = [socket.socket() for _ in range(count)]
    for each in sockets:
        each.bind(("127.0.0.1", 0))
    ports = [each.getsockname()[1] for each in sockets]
    for each in sockets:
        each.close()
    return ports


def wait_until(is_reached, what):
    """Waits for a state, which is named if it is never reached, and returns what was found."""
    deadline = time.monotonic() + TIMEOUT
    while not (found := is_reached()):
        if time.monotonic() > deadline:
            raise TimeoutError(f"not reached in {TIMEOUT} s: {what}")
        time.sleep(0.02)
    return found


class Cluster:
    """Runs from start() to stop()."""
    def __init__(self, max_array_size=1001):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vixprores-slurm-"))
        self.folder.chmod(0o755)  # of others, too, as munge requires
        controller_port, *ports = free_ports(1 + len(NODES))
        self.configuration = self.folder / "slurm.conf"
        self.configuration.write_text(CONFIGURATION.format(
            host=socket.gethostname().split(".")[0], folder=self.folder, ports=ports,
            controller_port=controller_port, max_array_size=max_array_size))
        self.environment = {**os.environ, "SLURM_CONF": str(self.configuration)}

    def start(self):
        (self.folder / "state").mkdir()
        for node in NODES:
            (self.folder / "spool" / node).mkdir(parents=True)
        key = self.folder / "munge.key"
        key.write_bytes(os.urandom(1024))
        key.chmod(0o400)
        self.run("munged", *(f"--{name}={self.folder}/munge.{end}" for name, end in (
            ("socket", "socket"), ("key-file", "key"), ("pid-file", "pid"), ("log-file", "log"),
            ("seed-file", "seed"))))
        self.run("slurmctld")
        for node in NODES:
            self.run("slurmd", "-N", node)
        wait_until(lambda: self.run("sinfo", "--noheader", "--format=%T %D", "--partition=all",
                                    check=False) == "idle 2\n", "two idle nodes")

    def run(self, *command, check=True, **options):
        """Returns the output of a command of Slurm."""
        result = subprocess.run([*map(str, command)], env=self.environment, text=True,
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=None if check else subprocess.DEVNULL, timeout=TIMEOUT,
                                check=check, **options)
        return result.stdout

    def jobs(self):
        """Returns state and reason of the tasks that wait or run, by their numbers."""
        lines = self.run("squeue", "--noheader", "--array", "--format=%i %T %r").splitlines()
        return {line.split()[0]: line.split()[1:] for line in lines}

    def wait_for_end(self):
        wait_until(lambda: not self.jobs(), "an empty queue")

    def show(self, job):
        """Returns what Slurm states about a job, by name."""
        text = self.run("scontrol", "show", "job", job, "--oneliner")
        return dict(word.split("=", 1) for word in text.split() if "=" in word)

    def stop(self):
        """Ends all that was started, as the files with the numbers of processes name them."""
        if (self.folder / "controller.pid").exists():
            self.run("scancel", "--user=root", check=False)
            self.wait_for_end()
        files = [self.folder / f"{name}.pid" for name in (*NODES, "controller", "munge")]
        processes = [int(path.read_text()) for path in files if path.exists()]
        for process in processes:
            end(process, signal.SIGTERM)
        for process in processes:
            try:
                wait_until(lambda: not os.path.exists(f"/proc/{process}"), f"the end of {process}")
            except TimeoutError:
                end(process, signal.SIGKILL)
        shutil.rmtree(self.folder, ignore_errors=True)


def end(process, number):
    try:
        os.kill(process, number)
    except ProcessLookupError:
        pass  # it has ended
