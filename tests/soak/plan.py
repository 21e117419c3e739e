"""What happens when in a long session; the same seed makes the same plan."""

# Ways of example_host, and scenarios of crash_scenarios. The heap of the last ones is in disorder,
# or their crash handler faults: the crash reporter writes their reports.
EXAMPLE_WAYS = ("null-write", "illegal-instruction", "division-by-zero", "beyond-file", "abort",
                "quit", "stack-overflow", "forced-core")
SCENARIOS = ("uncaught-exception", "bus-error", "double-free", "two-threads", "smashed-frames",
             "null-call", "deep-150", "stdout-locked", "null-write@worker", "wait-for-signal",
             "corrupt-heap", "corrupt-heap-locked", "fault-in-malloc", "fault-in-routine")
ENDS = ("exit", "exit", "SIGTERM", "SIGKILL")
EVENTS = ("kill", "refuse", "kill-in-upload", "down", "terminate", "leave", "kill-waiting-host")


def hosts_of_minute(rng, most):
    """(part of the minute, way) of each host that starts in it."""
    found = []
    for _ in range(rng.randint(2, most)):
        draw = rng.random()
        way = rng.choice(ENDS if draw < 0.25 else EXAMPLE_WAYS if draw < 0.65 else SCENARIOS)
        found.append((rng.uniform(0.05, 0.75), way))
    if rng.random() < 0.2:  # several at once
        at = rng.uniform(0.1, 0.7)
        found += [(at, rng.choice(EXAMPLE_WAYS[:7] + SCENARIOS)) for _ in range(3)]
    return found


def plan(rng, minutes):
    """(time in minutes, action, argument), sorted by time."""
    found = []
    for minute in range(minutes):
        found += [(minute + at, "host", way) for at, way in hosts_of_minute(rng, 5)]
        found.append((minute + 0.9, "sample", minute))
    # The first and the last quarter are left to one crash reporter each, to see what grows.
    quarter = max(1, minutes // 4)
    every = max(1, (minutes - 2 * quarter) // (2 * len(EVENTS)))
    deck = []
    for minute in range(quarter, minutes - quarter, every):
        if not deck:
            deck = list(EVENTS)
            rng.shuffle(deck)
        at = minute + rng.uniform(0.2, 0.6)
        event = deck.pop()
        found.append((at, event, rng.choice(("host", "script"))))
        if event in ("refuse", "down"):
            found.append((at + rng.uniform(1, 2.5), f"end of {event}", None))
    return sorted(found, key=lambda action: action[0])


def short_plan(rng):
    """Three minutes with what matters: a server that fails, and a crash reporter that is killed."""
    found = [(0.1, "host", "null-write"), (0.1, "host", "exit"), (0.2, "host", "corrupt-heap"),
             (0.9, "sample", 0), (1.0, "refuse", None), (1.1, "host", "abort"),
             (1.5, "end of refuse", None), (1.6, "kill", "host"), (1.65, "host", "quit"),
             (2.2, "host", rng.choice(EXAMPLE_WAYS)), (2.9, "sample", 2)]
    return found
