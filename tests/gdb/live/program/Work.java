import java.io.InputStream;
import java.lang.invoke.MethodHandle;
import java.lang.invoke.MethodHandles;
import java.lang.invoke.MethodType;
import java.util.Arrays;
import java.util.stream.IntStream;

/** Eight threads, each at work of another kind for ever. */
public class Work {
    interface Job {
        void run() throws Throwable;
    }

    public static volatile long sink; // public for the classes of other loaders
    static final Object LOCK = new Object();
    static final Job[] JOBS = {
        Work::nativeAndBack, Work::arithmetic, Work::recursion, Work::locking, Work::exceptions, Work::garbage,
        Work::deoptimisation, Work::handles,
    };
    static final String[] NAMES = {"native", "arithmetic", "recursion", "locking", "exceptions", "garbage", "deopt", "handles"};

    static void start() {
        for (int i = 0; i < JOBS.length; i++) {
            Job job = JOBS[i];
            Thread thread = new Thread(() -> forever(job), "work-" + NAMES[i]);
            thread.setDaemon(true);
            thread.start();
        }
        Thread locker = new Thread(() -> forever(Work::locking), "work-locking-2");
        locker.setDaemon(true);
        locker.start();
    }

    static void forever(Job job) {
        try {
            for (;;) {
                job.run();
            }
        } catch (Throwable thrown) {
            thrown.printStackTrace();
            Runtime.getRuntime().halt(3);
        }
    }

    static void nativeAndBack() {
        for (int i = 0; i < 100; i++) {
            sink += Descent.nest(4, Descent.QUIET);
        }
    }

    // ---- Inlining, intrinsics and stubs ----

    static int small(int value) {
        return value * 31 + tiny(value);
    }

    static int tiny(int value) {
        return value ^ value >>> 3;
    }

    static void arithmetic() {
        int sum = 0;
        double angle = 0;
        for (int i = 0; i < 50_000; i++) {
            sum += small(i);
            angle += Math.sin(i) + Math.log(i + 1.0) + (sum / (i + 1L)) % 7;
        }
        int[] from = new int[257];
        int[] to = new int[257];
        Arrays.fill(from, sum);
        for (int i = 0; i < 200; i++) {
            System.arraycopy(from, i & 15, to, i & 7, 200);
            angle += Arrays.hashCode(to) + Arrays.copyOf(to, 100 + i % 100).length;
        }
        sink += sum + (long) angle + Integer.toString(sum).concat("!").indexOf("7!") + new String(new char[sum & 31]).hashCode();
    }

    static int fibonacci(int n) {
        return n < 2 ? n : fibonacci(n - 1) + fibonacci(n - 2);
    }

    static void recursion() {
        sink += fibonacci(18);
    }

    static synchronized void counted() {
        sink++;
    }

    static void locking() {
        for (int i = 0; i < 1000; i++) {
            synchronized (LOCK) {
                sink += small(i);
            }
            counted();
        }
    }

    // ---- Exceptions ----

    static int thrower(Object nothing, int depth) {
        try {
            return depth == 0 ? nothing.hashCode() : thrower(nothing, depth - 1);
        } finally {
            sink++;
        }
    }

    static void exceptions() {
        for (int i = 0; i < 100; i++) {
            try {
                sink += thrower(null, i & 7);
            } catch (NullPointerException expected) {
                sink += expected.getStackTrace().length;
            }
            try {
                sink += ((Integer[]) (Object[]) new Integer[1])[i & 1];
            } catch (ArrayIndexOutOfBoundsException | NullPointerException expected) {
                sink++;
            }
        }
    }

    static void garbage() {
        Object[] kept = new Object[64];
        for (int i = 0; i < 20_000; i++) {
            kept[i & 63] = i % 100 == 0 ? new byte[20_000]
                                        : new StringBuilder().append(i).append("/").append(kept.length).toString();
        }
        sink += kept.length;
        System.gc();
    }

    // ---- Compiled code that a class loaded later makes wrong, and classes that go again ----

    static class Shape {
        int corners() {
            return 4;
        }
    }

    static class Round extends Shape {
        @Override
        int corners() {
            return 0;
        }
    }

    static class Drawing implements Runnable {
        public void run() {
            long corners = 0;
            Shape shape = new Shape();
            for (int i = 0; i < 200_000; i++) {
                corners += shape.corners();
                if (i == 150_000) {
                    shape = another();
                }
            }
            sink += corners;
        }

        static Shape another() {
            return new Round();
        }
    }

    static class Apart extends ClassLoader {
        Apart() {
            super(null);
        }

        @Override
        protected Class<?> findClass(String name) throws ClassNotFoundException {
            if (!name.startsWith("Work$Shape") && !name.startsWith("Work$Round") && !name.startsWith("Work$Drawing")) {
                return Work.class.getClassLoader().loadClass(name);
            }
            try (InputStream file = Work.class.getResourceAsStream("/" + name + ".class")) {
                byte[] bytes = file.readAllBytes();
                return defineClass(name, bytes, 0, bytes.length);
            } catch (java.io.IOException failure) {
                throw new ClassNotFoundException(name, failure);
            }
        }
    }

    static void deoptimisation() throws Exception {
        Class<?> drawing = new Apart().loadClass("Work$Drawing");
        var constructor = drawing.getDeclaredConstructor();
        constructor.setAccessible(true);
        ((Runnable) constructor.newInstance()).run();
    }

    // ---- Method handles, lambdas, streams, reflection ----

    static final MethodHandle SMALL = find("small");

    static MethodHandle find(String name) {
        try {
            return MethodHandles.lookup().findStatic(Work.class, name, MethodType.methodType(int.class, int.class));
        } catch (ReflectiveOperationException failure) {
            throw new ExceptionInInitializerError(failure);
        }
    }

    static void handles() throws Throwable {
        MethodHandle bound = MethodHandles.insertArguments(SMALL, 0, (int) sink);
        MethodHandle filtered = MethodHandles.filterReturnValue(SMALL, find("tiny"));
        for (int i = 0; i < 200; i++) {
            sink += (int) SMALL.invokeExact(i) + (int) bound.invoke() + (int) filtered.invoke((Integer) i);
        }
        sink += IntStream.range(0, 500).map(Work::small).filter(value -> (value & 1) == 0).boxed()
            .mapToInt(Integer::intValue).sum();
        sink += (int) Work.class.getDeclaredMethod("tiny", int.class).invoke(null, 5);
    }
}
