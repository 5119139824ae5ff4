import java.io.IOException;
import java.io.InputStream;
import java.lang.ref.WeakReference;
import java.util.ArrayList;
import java.util.List;

/** Classes in throw-away loaders: how many are left, once nobody but a debugger may still hold them. */
class Unloading {
    static class Brief {
        static int number = 1;
    }

    static class Loader extends ClassLoader {
        Class<?> define(byte[] bytes) {
            return defineClass("Unloading$Brief", bytes, 0, bytes.length);
        }
    }

    static List<WeakReference<ClassLoader>> make(int count) throws IOException, ReflectiveOperationException {
        List<WeakReference<ClassLoader>> made = new ArrayList<>();
        byte[] bytes;
        try (InputStream in = Unloading.class.getResourceAsStream("Unloading$Brief.class")) {
            bytes = in.readAllBytes();
        }
        for (int i = 0; i < count; i++) {
            Loader loader = new Loader();
            loader.define(bytes).getDeclaredFields();
            Class.forName("Unloading$Brief", true, loader);
            made.add(new WeakReference<>(loader));
        }
        return made;
    }

    static long left(List<WeakReference<ClassLoader>> made) {
        System.gc();
        return made.stream().filter(each -> each.get() != null).count();
    }

    /** The last loader may be in a register still; and the agent lets go when its last stop is over, not before. */
    static long leftInTheEnd(List<WeakReference<ClassLoader>> made) throws InterruptedException {
        for (int turn = 0; turn < 100 && left(made) > 1; turn++) Thread.sleep(50);
        return left(made);
    }

    /** A breakpoint between making and counting. */
    static void made() {
    }

    public static void main(String[] arguments) throws Exception {
        Stress.ready();
        List<WeakReference<ClassLoader>> made = make(Stress.number(arguments, 0));
        made();
        System.out.println("made");
        Stress.await();
        Stress.figure("left", leftInTheEnd(made));
        System.exit(7);
    }
}
