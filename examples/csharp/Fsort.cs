// fsort.h in C#: the nine functions and four callbacks.
//
// "fsort" is found as fsort.dll on Windows and as libfsort.so on Linux, by .NET and Mono alike. Texts are LPStr:
// the process's ANSI code page on Windows, which is what the library reads there, and UTF-8 on Linux. All calls
// are Cdecl; on 64-bit Windows there is no other convention, but saying so costs nothing.
//
// The collector does not know that the library holds a callback. Keep every delegate that you pass in a variable
// until the call that takes it has returned (FsortDestroy, for those of FsortCreate): GC.KeepAlive says so.
//
// Do not call FsortExit inside a managed callback, and let no exception leave one: both would cut through frames
// of the runtime. Catch, keep the exception, and answer 1; that ends the sort. FsortExit is therefore missing.
using System;
using System.Runtime.InteropServices;

namespace FsortExample
{
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate void DisplayFunction(IntPtr text);

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate uint YieldFunction();

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate int ReadFunction(out ulong length, out IntPtr record);

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate int WriteFunction(ulong length, IntPtr record);

    internal static class Fsort
    {
        private const string Library = "fsort";

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern IntPtr FsortCreate(DisplayFunction display, YieldFunction yield);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int FsortStart(IntPtr handle, ReadFunction input, WriteFunction output,
                                              [MarshalAs(UnmanagedType.LPStr)] string command);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void FsortDestroy(IntPtr handle);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void FsortSend(IntPtr handle, ulong length, IntPtr record);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern void FsortRetrieve(IntPtr handle, out ulong length, out IntPtr record);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int FsortRead(IntPtr handle, out ulong length, out IntPtr record);

        [DllImport(Library, CallingConvention = CallingConvention.Cdecl)]
        internal static extern int FsortWrite(IntPtr handle, ulong length, IntPtr record);

        [DllImport(Library, EntryPoint = "FsortMessage", CallingConvention = CallingConvention.Cdecl)]
        private static extern IntPtr MessageOf(IntPtr handle);

        // The text is the library's: it is copied, never freed.
        internal static string FsortMessage(IntPtr handle)
        {
            return Marshal.PtrToStringAnsi(MessageOf(handle));
        }
    }
}
