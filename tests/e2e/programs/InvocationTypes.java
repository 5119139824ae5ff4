import java.util.StringJoiner;

/** A static and an instance method of each return type, with no, one and twenty arguments; `seen` tells what arrived. */
class InvocationTypes {
    static final InvocationTypes self = new InvocationTypes();
    static String seen = "";

    static void see(Object... arguments) {
        StringJoiner all = new StringJoiner(" ");
        for (Object argument : arguments) all.add(String.valueOf(argument));
        seen = all.toString();
    }

    static boolean staticZ0() {
        return true;
    }

    static boolean staticZ1(boolean x) {
        return x;
    }

    static boolean staticZ20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, boolean x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, boolean x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    static byte staticB0() {
        return (byte) -2;
    }

    static byte staticB1(byte x) {
        return x;
    }

    static byte staticB20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, byte x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, byte x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    static char staticC0() {
        return 'c';
    }

    static char staticC1(char x) {
        return x;
    }

    static char staticC20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, char x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, char x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    static short staticS0() {
        return (short) -300;
    }

    static short staticS1(short x) {
        return x;
    }

    static short staticS20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, short x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, short x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    static int staticI0() {
        return 70_000;
    }

    static int staticI1(int x) {
        return x;
    }

    static int staticI20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, int x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, int x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    static long staticJ0() {
        return 1L << 40;
    }

    static long staticJ1(long x) {
        return x;
    }

    static long staticJ20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, long x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, long x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    static float staticF0() {
        return 1.5f;
    }

    static float staticF1(float x) {
        return x;
    }

    static float staticF20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, float x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, float x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    static double staticD0() {
        return -2.25;
    }

    static double staticD1(double x) {
        return x;
    }

    static double staticD20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, double x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, double x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    static Object staticL0() {
        return "text";
    }

    static Object staticL1(Object x) {
        return x;
    }

    static Object staticL20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, Object x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, Object x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    static int[] staticarray0() {
        return new int[] {1, 2, 3};
    }

    static int[] staticarray1(int[] x) {
        return x;
    }

    static int[] staticarray20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, int[] x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, int[] x2) {
        see(z, b, c, s, i, j, f, d, l, x.length, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2.length);
        return x2;
    }

    static void staticV0() {
        seen = "static V0";
    }

    static void staticV1(int x) {
        see(x);
    }

    static void staticV20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, int x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, int x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
    }

    boolean ownZ0() {
        return true;
    }

    boolean ownZ1(boolean x) {
        return x;
    }

    boolean ownZ20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, boolean x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, boolean x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    byte ownB0() {
        return (byte) -2;
    }

    byte ownB1(byte x) {
        return x;
    }

    byte ownB20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, byte x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, byte x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    char ownC0() {
        return 'c';
    }

    char ownC1(char x) {
        return x;
    }

    char ownC20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, char x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, char x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    short ownS0() {
        return (short) -300;
    }

    short ownS1(short x) {
        return x;
    }

    short ownS20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, short x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, short x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    int ownI0() {
        return 70_000;
    }

    int ownI1(int x) {
        return x;
    }

    int ownI20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, int x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, int x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    long ownJ0() {
        return 1L << 40;
    }

    long ownJ1(long x) {
        return x;
    }

    long ownJ20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, long x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, long x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    float ownF0() {
        return 1.5f;
    }

    float ownF1(float x) {
        return x;
    }

    float ownF20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, float x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, float x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    double ownD0() {
        return -2.25;
    }

    double ownD1(double x) {
        return x;
    }

    double ownD20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, double x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, double x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    Object ownL0() {
        return "text";
    }

    Object ownL1(Object x) {
        return x;
    }

    Object ownL20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, Object x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, Object x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
        return x2;
    }

    int[] ownarray0() {
        return new int[] {1, 2, 3};
    }

    int[] ownarray1(int[] x) {
        return x;
    }

    int[] ownarray20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, int[] x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, int[] x2) {
        see(z, b, c, s, i, j, f, d, l, x.length, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2.length);
        return x2;
    }

    void ownV0() {
        seen = "own V0";
    }

    void ownV1(int x) {
        see(x);
    }

    void ownV20(boolean z, byte b, char c, short s, int i, long j, float f, double d, Object l, int x,
        boolean z2, byte b2, char c2, short s2, int i2, long j2, float f2, double d2, Object l2, int x2) {
        see(z, b, c, s, i, j, f, d, l, x, z2, b2, c2, s2, i2, j2, f2, d2, l2, x2);
    }

    static int hitsBreakpoint() {
        reached();
        return 11;
    }

    static void reached() {
    }

    public static void main(String[] arguments) {
        reached();
        reached();
        System.out.println("done");
        System.exit(6);
    }
}
