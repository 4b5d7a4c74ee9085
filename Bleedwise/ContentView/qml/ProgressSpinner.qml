import QtQuick
import Bleedwise.Window

// Something is under way. Turns; stands still where motion is not wanted.
SymbolIcon {
    id: root

    symbol: "progress"
    color: Theme.accentColor

    Accessible.role: Accessible.Animation
    Accessible.ignored: true

    RotationAnimator on rotation {
        from: 0
        to: 360
        duration: 900
        loops: Animation.Infinite
        running: root.visible && !Theme.reducedMotion
    }
}
