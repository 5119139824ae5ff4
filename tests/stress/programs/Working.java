import java.util.concurrent.atomic.AtomicLong;
import java.util.concurrent.locks.LockSupport;

/** Work of every kind until it is told to stop: calls, allocation, monitors, threads that come and go. */
class Working {
    static volatile boolean stop;
    static final AtomicLong hits = new AtomicLong();
    static final AtomicLong invoked = new AtomicLong();
    static final Object lock = new Object();

    static int reached(int turn) {
        hits.incrementAndGet();
        int next = turn + 1;
        next *= 3;
        return next;
    }

    /** For the debugger. */
    static int twice(int value) {
        invoked.incrementAndGet();
        return 2 * value;
    }

    /** Now and then, so that two processors are enough. */
    static void pause(int turn) {
        if (turn % 50 == 0) LockSupport.parkNanos(200_000);
    }

    static void calls() {
        for (int turn = 0; !stop; turn++) {
            reached(turn);
            pause(turn);
        }
    }

    static void locks() {
        for (int turn = 0; !stop; turn++) {
            synchronized (lock) {
                byte[] some = new byte[1000];
                if (some.length != 1000) throw new IllegalStateException();
            }
            pause(turn);
        }
    }

    static void threads() {
        while (!stop) {
            Stress.join(Stress.start(2, "brief", () -> { }));
            pause(0);
        }
    }

    public static void main(String[] arguments) {
        Stress.ready();
        Thread[] calling = Stress.start(Stress.number(arguments, 0), "calls", Working::calls);
        Thread[] locking = Stress.start(2, "locks", Working::locks);
        Thread[] starting = Stress.start(1, "threads", Working::threads);
        System.out.println("working");
        Stress.await();
        stop = true;
        Stress.join(calling);
        Stress.join(locking);
        Stress.join(starting);
        Stress.figure("hits", hits.get());
        Stress.figure("invoked", invoked.get());
        System.exit(7);
    }
}
