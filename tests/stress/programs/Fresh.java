import java.io.IOException;
import java.io.InputStream;
import java.util.concurrent.CyclicBarrier;

/** Many threads that enter a class together which none of them has used before: in each round another class of that name. */
public class Fresh {
    /** The class that they enter. */
    public static class Entered {
        static int number = begin();

        static int begin() {
            return 1;
        }

        public static void enter() {
            number++;
        }
    }

    /** Defines Entered anew. */
    static class Loader extends ClassLoader {
        Class<?> define() throws IOException {
            try (InputStream in = Fresh.class.getResourceAsStream("Fresh$Entered.class")) {
                byte[] bytes = in.readAllBytes();
                return defineClass("Fresh$Entered", bytes, 0, bytes.length);
            }
        }
    }

    public static void main(String[] arguments) throws Exception {
        int threads = Stress.number(arguments, 0);
        int rounds = Stress.number(arguments, 1);
        CyclicBarrier together = new CyclicBarrier(threads);
        Class<?>[] fresh = new Class<?>[rounds];
        for (int i = 0; i < rounds; i++) fresh[i] = new Loader().define();
        Stress.ready();
        Stress.join(Stress.start(threads, "entering", () -> {
            for (Class<?> each : fresh) {
                together.await();
                each.getMethod("enter").invoke(null);
            }
        }));
        System.exit(7);
    }
}
