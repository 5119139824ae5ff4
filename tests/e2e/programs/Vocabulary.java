import java.io.IOException;
import java.lang.reflect.Proxy;
import java.util.Arrays;
import java.util.concurrent.locks.LockSupport;

/** A known state for a debugger that asks everything that the agent can be asked. */
class Vocabulary {
    static final Object outer = new Object();
    static final Object inner = new Object();
    static final Object signal = new Object();
    static final Everything<String> everything = new Everything<>();
    static final Object proxy =
        Proxy.newProxyInstance(Vocabulary.class.getClassLoader(), new Class<?>[] {Measured.class}, (p, m, a) -> 0);
    static final Exception prepared = new IllegalStateException("prepared for the stopped thread");
    static volatile boolean done;
    static volatile int spins;
    static volatile int turns;

    static Thread start(String name, Runnable body) {
        Thread thread = new Thread(body, name);
        thread.setDaemon(true);
        thread.setPriority(name.equals("sleeping") ? 7 : 5);
        thread.start();
        return thread;
    }

    static void sleep(String name) {
        try {
            Thread.sleep(600_000);
        } catch (InterruptedException interrupted) {
            System.out.println(name + " interrupted");
        }
    }

    static void running() {
        while (!done) spins++;
    }

    static void waiting() {
        synchronized (signal) {
            while (!done) {
                try {
                    signal.wait();
                } catch (InterruptedException ignored) {
                }
            }
        }
    }

    static void owning() {
        synchronized (outer) {
            synchronized (inner) {
                sleep("owning");
            }
        }
    }

    static void blocked() {
        synchronized (outer) {
            done = true;
        }
    }

    static void parked() {
        while (!done) LockSupport.park(signal);
    }

    static void endless() {
        try {
            while (!done) turns++;
        } catch (IllegalStateException thrown) {
            System.out.println("stopped by " + thrown.getMessage());
        }
    }

    static void await(Thread thread, Thread.State state) throws InterruptedException {
        while (thread.getState() != state) Thread.sleep(5);
    }

    static String deep(int depth, long j, float f, double d, Object l, boolean z) {
        int i = depth * 10;
        if (depth == 10) {
            bottom();
            return "locals " + i + " " + j + " " + f + " " + d + " " + l + " " + z;
        }
        return deep(depth + 1, j + 1, f * 2, d / 2, l, !z);
    }

    static void bottom() {
    }

    static int twice(int value) {
        return 2 * value;
    }

    static int popped;

    /** Calls `reached` again when the frame of that was popped. */
    static int again() {
        popped++;
        reached();
        return popped;
    }

    static void reached() {
    }

    public static void main(String[] arguments) throws InterruptedException {
        Thread running = start("running", Vocabulary::running);
        Thread sleeping = start("sleeping", () -> sleep("sleeping"));
        Thread waiting = start("waiting", Vocabulary::waiting);
        Thread owning = start("owning", Vocabulary::owning);
        await(owning, Thread.State.TIMED_WAITING);
        Thread blocked = start("blocked", Vocabulary::blocked);
        Thread parked = start("parked", Vocabulary::parked);
        Thread endless = start("endless", Vocabulary::endless);
        await(sleeping, Thread.State.TIMED_WAITING);
        await(waiting, Thread.State.WAITING);
        await(blocked, Thread.State.BLOCKED);
        await(parked, Thread.State.WAITING);
        while (spins == 0 || turns == 0) Thread.sleep(5);
        System.out.println(deep(1, 1L << 33, 0.5f, 1024.0, "text", false));
        System.out.println(everything);
        sleeping.join();
        endless.join();
        System.out.println("twice " + twice(21));
        System.out.println("again " + again());
        owning.interrupt();
        blocked.join();
        running.join();
        System.exit(4);
    }
}

interface Measured {
    int measure();
}

abstract class Figure implements Measured, java.io.Serializable {
    abstract String name();
}

final class Everything<T extends Comparable<T>> extends Figure {
    boolean z = true;
    byte b = -2;
    char c = 'c';
    short s = -300;
    int i = 70_000;
    long j = 1L << 40;
    float f = 1.5f;
    double d = -2.25;
    Object l = "text";
    static boolean static_z = false;
    static byte static_b = 3;
    static char static_c = 'x';
    static short static_s = 301;
    static int static_i = -70_000;
    static long static_j = -(1L << 41);
    static float static_f = -0.75f;
    static double static_d = 1e100;
    static Object static_l = "static text";
    static boolean[] array_z = {true, false};
    static byte[] array_b = {1, -1};
    static char[] array_c = {'p', 'q'};
    static short[] array_s = {-5, 500};
    static int[] array_i = {100_000, -100_000};
    static long[] array_j = {1L << 50, -2};
    static float[] array_f = {0.25f, -8f};
    static double[] array_d = {Math.PI, -1e-300};
    static Object[] array_l = {"zero", null};
    T generic;

    native int inC();

    public int measure() {
        return i;
    }

    String name() {
        return "everything";
    }

    T identity(T value) throws IOException, IllegalStateException {
        try {
            return value;
        } catch (RuntimeException wrapped) {
            throw new IOException(wrapped);
        }
    }

    static int crowd(
        AClassWithARatherLongName p0, AClassWithARatherLongName p1, AClassWithARatherLongName p2,
        AClassWithARatherLongName p3, AClassWithARatherLongName p4, AClassWithARatherLongName p5,
        AClassWithARatherLongName p6, AClassWithARatherLongName p7, AClassWithARatherLongName p8,
        AClassWithARatherLongName p9, AClassWithARatherLongName p10, AClassWithARatherLongName p11,
        AClassWithARatherLongName p12, AClassWithARatherLongName p13, AClassWithARatherLongName p14,
        AClassWithARatherLongName p15, AClassWithARatherLongName p16, AClassWithARatherLongName p17,
        AClassWithARatherLongName p18, AClassWithARatherLongName p19, AClassWithARatherLongName p20,
        AClassWithARatherLongName p21, AClassWithARatherLongName p22, AClassWithARatherLongName p23,
        AClassWithARatherLongName p24, AClassWithARatherLongName p25, AClassWithARatherLongName p26,
        AClassWithARatherLongName p27, AClassWithARatherLongName p28, AClassWithARatherLongName p29,
        AClassWithARatherLongName p30, AClassWithARatherLongName p31, AClassWithARatherLongName p32,
        AClassWithARatherLongName p33, AClassWithARatherLongName p34, AClassWithARatherLongName p35,
        AClassWithARatherLongName p36, AClassWithARatherLongName p37, AClassWithARatherLongName p38,
        AClassWithARatherLongName p39, AClassWithARatherLongName p40, AClassWithARatherLongName p41,
        AClassWithARatherLongName p42, AClassWithARatherLongName p43, AClassWithARatherLongName p44,
        AClassWithARatherLongName p45, AClassWithARatherLongName p46, AClassWithARatherLongName p47,
        AClassWithARatherLongName p48, AClassWithARatherLongName p49, AClassWithARatherLongName p50,
        AClassWithARatherLongName p51, AClassWithARatherLongName p52, AClassWithARatherLongName p53,
        AClassWithARatherLongName p54, AClassWithARatherLongName p55, AClassWithARatherLongName p56,
        AClassWithARatherLongName p57, AClassWithARatherLongName p58, AClassWithARatherLongName p59) {
        return 60;
    }

    @Override
    public String toString() {
        return "fields " + z + " " + b + " " + c + " " + s + " " + i + " " + j + " " + f + " " + d + " " + l + "\n"
            + "static " + static_z + " " + static_b + " " + static_c + " " + static_s + " " + static_i + " " + static_j
            + " " + static_f + " " + static_d + " " + static_l + "\n"
            + "arrays " + Arrays.toString(array_z) + Arrays.toString(array_b) + Arrays.toString(array_c)
            + Arrays.toString(array_s) + Arrays.toString(array_i) + Arrays.toString(array_j) + Arrays.toString(array_f)
            + Arrays.toString(array_d) + Arrays.toString(array_l);
    }
}

/** A name long enough for sixty of it to fill a signature. */
class AClassWithARatherLongName {
}
