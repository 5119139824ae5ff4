import java.util.concurrent.atomic.AtomicInteger;
import java.util.concurrent.atomic.AtomicLong;

/** Hundreds of live threads, of Java's and of native code's own, each of which soon ends and is replaced. */
class Churn {
    static final AtomicLong lives = new AtomicLong();
    static final AtomicInteger alive = new AtomicInteger();

    /** The breakpoint: once in each life. */
    static void living() {
        lives.incrementAndGet();
    }

    /** A native thread's life; called by the native code between its attach and its detach. */
    static void life() {
        try {
            living();
            Thread.sleep(20 + (lives.get() * 7) % 50);
        } catch (Throwable what) {
            Stress.surprise(what);
        }
    }

    /** Runs `count` native threads, each life after life, until the time is up; gives how many lives there were. */
    static native long nativeLives(int count, long milliseconds);

    static void javaLives(long end) {
        while (System.nanoTime() < end) {
            Thread one = new Thread(Churn::life);
            one.start();
            Stress.join(new Thread[] {one});
        }
    }

    public static void main(String[] arguments) {
        System.load(arguments[0]);
        int half = Stress.number(arguments, 1) / 2;
        long milliseconds = Stress.number(arguments, 2);
        Stress.ready();
        long end = System.nanoTime() + milliseconds * 1_000_000;
        Thread[] parents = Stress.start(half / 2, "parent", () -> javaLives(end));
        long ended = nativeLives(half, milliseconds);
        Stress.join(parents);
        Stress.figure("native", ended);
        Stress.figure("lives", lives.get());
        System.exit(7);
    }
}
